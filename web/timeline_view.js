// Views of a timeline, and what lies where in them. A view is {first, scale}: the tick at the left
// edge of the plot (a fraction while it moves) and pixels per tick.

export const MOST_TICKS = 20000; // in a view, and in a part that is watched
const LEAST_TICKS = 30; // in a view
export const FRAME_ROW = 18; // heights of the rows of a lane, and of all of it
export const LANE_HEIGHT = 54;
export const AXIS_HEIGHT = 26;
const NARROW = 600; // below this width the names of the lanes are short
const ALARMS = new Set(['collision', 'timeout', 'drop', 'refused']);

export const STATIONS = 10;
// Shown before there is a trace.
export const NO_TRACE = {
    from: 0,
    until: 0,
    phases: [],
    frame_names: [],
    lanes: Array.from({ length: STATIONS }, () => ({
        phases: [],
        navs: [],
        overlaps: [],
        queue: [],
        window: [],
    })),
    frames: [],
    marks: [],
};

// Where things lie in a drawing `width` pixels wide.
export function layoutOf(width, laneNum) {
    const left = width < NARROW ? 46 : 92;
    const height = AXIS_HEIGHT + LANE_HEIGHT * laneNum + 1;
    return { width, height, left, plot: Math.max(width - left, 1), isNarrow: width < NARROW };
}

export function xAt(layout, view, tick) {
    return layout.left + (tick - view.first) * view.scale;
}

function tickAt(layout, view, x) {
    return view.first + (x - layout.left) / view.scale;
}

// Ticks in the view, a fraction.
export function ticksIn(layout, view) {
    return layout.plot / view.scale;
}

// The view nearest to the one asked for that lies in the load point, of `ticks` ticks.
export function fitView(layout, view, ticks) {
    const most = Math.min(MOST_TICKS, Math.max(ticks, LEAST_TICKS));
    const scale = Math.min(Math.max(view.scale, layout.plot / most), layout.plot / LEAST_TICKS);
    const last = Math.max(ticks - layout.plot / scale, 0);
    return { first: Math.min(Math.max(view.first, 0), last), scale };
}

// The part of a load point of `ticks` ticks that is watched about a tick.
export function partAbout(tick, ticks) {
    const last = Math.max(ticks - MOST_TICKS, 0);
    const from = Math.min(Math.max(Math.round(tick - MOST_TICKS / 2), 0), last);
    return { from, ticks: Math.min(MOST_TICKS, ticks - from) };
}

// The view larger by `factor`, with the same tick at `x`.
export function zoomView(layout, view, x, factor, ticks) {
    const { scale } = fitView(layout, { first: 0, scale: view.scale * factor }, ticks);
    const first = tickAt(layout, view, x) - (x - layout.left) / scale;
    return fitView(layout, { first, scale }, ticks);
}

// The distance of labelled ticks, 1, 2 or 5 times a power of ten, and that of the marks between.
export function axisSteps(scale, leastPixels = 70) {
    const least = Math.max(leastPixels / scale, 1);
    const power = 10 ** Math.floor(Math.log10(least));
    const label = [1, 2, 5, 10].find((step) => step * power >= least * (1 - 1e-9)) * power;
    return { label, mark: Math.max(label / (String(label)[0] === '2' ? 4 : 5), 1) };
}

// The first place in an ascending list from which on `isBehind` holds.
export function firstPlace(list, isBehind) {
    let low = 0;
    let high = list.length;
    while (low < high) {
        const middle = (low + high) >> 1;
        if (isBehind(list[middle])) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    return low;
}

// Places of frames, and marks of what goes wrong, by station: both ascending.
export function indexTrace(trace) {
    const lanes = trace.lanes.map(() => ({ frames: [], alarms: [] }));
    trace.frames.forEach((frame, place) => lanes[frame.sender].frames.push(place));
    const alarms = trace.marks.filter((mark) => ALARMS.has(mark[2]));
    alarms.forEach((mark) => lanes[mark[1]].alarms.push(mark));
    return lanes;
}

// What lies at a point: null beside the lanes, else {station, tick, place}; `place` is that of the
// frame there, or -1. `slack` pixels beside a frame still hit it.
export function hitTest(layout, view, scene, x, y, slack = 3) {
    const station = Math.floor((y - AXIS_HEIGHT) / LANE_HEIGHT);
    if (x < layout.left || station < 0 || station >= scene.trace.lanes.length) {
        return null;
    }
    const tick = Math.floor(tickAt(layout, view, x));
    const hit = { station, tick, place: -1 };
    if (y - AXIS_HEIGHT - station * LANE_HEIGHT > FRAME_ROW) {
        return hit;
    }
    const { frames } = scene.trace;
    const distance = (place) =>
        Math.max(
            xAt(layout, view, frames[place].begin) - x,
            x - xAt(layout, view, frames[place].end ?? scene.trace.until),
            0,
        );
    const list = scene.lanes[station].frames;
    const next = firstPlace(list, (place) => frames[place].begin > tick);
    const near = list.slice(Math.max(next - 1, 0), next + 1);
    near.sort((a, b) => distance(a) - distance(b));
    if (near.length > 0 && distance(near[0]) <= slack) {
        hit.place = near[0];
    }
    return hit;
}
