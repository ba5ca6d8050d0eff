// What wheel, keys and pointers do to a timeline.
export const ZOOM_STEP = 1.5;
const CLICK_PIXELS = 5; // a pointer that moves less has clicked

// The wheel scrolls the page, as everywhere, until the drawing is what the user works with: it is so
// high that nobody would get past it otherwise.
function turnWheel(timeline, event) {
    const unit = [1, 16, 400][event.deltaMode];
    const isSideways = event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY);
    if (isSideways) {
        event.preventDefault();
        timeline.pan((event.deltaX || event.deltaY) * unit);
    } else if (event.ctrlKey || document.activeElement === timeline.parts.canvas) {
        event.preventDefault();
        const speed = event.ctrlKey ? 0.01 : 0.002; // a pinch on a touchpad comes in small steps
        timeline.zoom(Math.exp(-event.deltaY * unit * speed), event.offsetX);
    }
}

function pressKey(timeline, event) {
    const quarter = timeline.layout.plot / 4;
    const { scale } = timeline.view;
    const acts = {
        ArrowLeft: () => timeline.pan(-quarter),
        ArrowRight: () => timeline.pan(quarter),
        '+': () => timeline.zoom(ZOOM_STEP),
        '=': () => timeline.zoom(ZOOM_STEP),
        '-': () => timeline.zoom(1 / ZOOM_STEP),
        Home: () => timeline.move({ first: 0, scale }),
        End: () => timeline.move({ first: timeline.ticks, scale }),
        '[': () => timeline.step(-1),
        ']': () => timeline.step(1),
        p: () => timeline.step(-1),
        n: () => timeline.step(1),
        Escape: () => timeline.unselect(),
    };
    const isPlain = !event.ctrlKey && !event.metaKey;
    if (isPlain && Object.hasOwn(acts, event.key)) {
        event.preventDefault();
        acts[event.key]();
    }
}

function press(timeline, event) {
    const { offsetX: x, offsetY: y, pointerId, button: pressed } = event;
    if (pressed === 0) {
        const isClick = timeline.pointers.size === 0;
        timeline.parts.canvas.setPointerCapture(pointerId);
        timeline.pointers.set(pointerId, { x, y, startX: x, isClick });
    }
}

// One pointer pans; two zoom about the point between them, which moves along.
function drag(timeline, { offsetX: x, offsetY: y, pointerId }) {
    const own = timeline.pointers.get(pointerId);
    if (own === undefined) {
        return;
    }
    const other = [...timeline.pointers.values()].find((each) => each !== own);
    own.isClick &&= other === undefined && Math.abs(x - own.startX) < CLICK_PIXELS;
    if (other === undefined && !own.isClick) {
        timeline.pan(own.x - x);
    } else if (other !== undefined) {
        other.isClick = false;
        const spread = (at) => Math.max(Math.abs(at - other.x), 20);
        timeline.pan((own.x - x) / 2);
        timeline.zoom(spread(x) / spread(own.x), (x + other.x) / 2);
    }
    if (!own.isClick) {
        Object.assign(own, { x, y });
    }
}

function release(timeline, { offsetX: x, offsetY: y, pointerId, pointerType }) {
    if (timeline.pointers.get(pointerId)?.isClick) {
        timeline.choose(x, y, pointerType === 'mouse' ? 3 : 8);
    }
    timeline.pointers.delete(pointerId);
}

export function listenToCanvas(timeline) {
    const { canvas } = timeline.parts;
    canvas.addEventListener('wheel', (event) => turnWheel(timeline, event), { passive: false });
    canvas.addEventListener('keydown', (event) => pressKey(timeline, event));
    canvas.addEventListener('pointerdown', (event) => press(timeline, event));
    canvas.addEventListener('pointermove', (event) => drag(timeline, event));
    canvas.addEventListener('pointerup', (event) => release(timeline, event));
    canvas.addEventListener('pointercancel', ({ pointerId }) =>
        timeline.pointers.delete(pointerId),
    );
}
