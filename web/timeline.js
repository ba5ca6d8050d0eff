// What every station does, tick by tick: a canvas with a lane for each, that can be moved and zoomed
// over a whole load point. Only a part of the load point is held; when the view nears an end of it,
// the part about the view is watched anew and replaces it.
import { html } from './dom.js';
import { drawTimeline, readColors } from './timeline_draw.js';
import { ZOOM_STEP, listenToCanvas } from './timeline_input.js';
import { build, fillSelect, sizeCanvas } from './timeline_parts.js';
import {
    MOST_TICKS,
    NO_TRACE,
    STATIONS,
    firstPlace,
    fitView,
    hitTest,
    indexTrace,
    layoutOf,
    partAbout,
    ticksIn,
    zoomView,
} from './timeline_view.js';
import { KINDS, foundText, tellPlace } from './timeline_words.js';

const FIRST_TICKS = 2000; // in the first view
const HINT =
    'Choose a frame to read its story, or any place in a lane to read what happens there. Drag to ' +
    'move; the wheel zooms once the drawing has been clicked, or with Ctrl.';

const EMPTY = 'Nothing is shown yet: choose a load and press Show, or click a load in a chart.';

class Timeline {
    constructor(root, actions) {
        this.actions = actions;
        this.parts = build(root);
        this.ctx = this.parts.canvas.getContext('2d');
        this.layout = layoutOf(root.clientWidth, STATIONS);
        this.pointers = new Map();
        this.epoch = 0; // experiments and load points so far: answers of earlier ones are stale
        this.told = 0; // stories asked for so far
        this.ticks = 0; // of a load point; 0 before there is an experiment
        this.loads = []; // of the experiment, as texts
        this.last = null; // the selection before the experiment was changed
        this.clear();
        this.listen();
        new ResizeObserver(() => this.draw()).observe(root);
    }

    clear() {
        ++this.epoch;
        this.point = null; // {trial, index} that is looked at
        this.part = { trace: NO_TRACE, lanes: indexTrace(NO_TRACE), isEmpty: true };
        this.view = { first: 0, scale: this.layout.plot / FIRST_TICKS };
        this.asked = ''; // the part asked for last
        this.isHalted = false; // after a failure, until the user does something
        this.isMoved = false; // the simulator holds another part than the one shown
        this.isTyped = false; // a tick stands in the field that is to be shown
        this.unselect();
        this.cursor = null;
        this.say(this.ticks > 0 ? EMPTY : '');
        this.draw();
    }

    // `begin` is the tick where it is offered to be seen.
    setExperiment({ loads_kbps: loads, trials, ticks, from: begin }) {
        const { load, trial, from } = this.parts;
        const texts = loads.map((kbps) => `${kbps / 1000} Mbit/s`);
        const isSame = texts.join() === this.loads.join() && ticks === this.ticks;
        if (!isSame) {
            this.last = null;
        } else if (this.point !== null && this.point.trial < trials) {
            this.last = this.selection();
        }
        this.loads = texts;
        this.begin = begin;
        // At low loads the first view would often have nothing in it.
        const first = Math.floor((3 * loads.length) / 4);
        fillSelect(load, texts, isSame ? load.selectedIndex : first);
        fillSelect(
            trial,
            Array.from({ length: trials }, (_, i) => String(i + 1)),
            trial.selectedIndex,
        );
        from.max = Math.max(ticks - 1, 0);
        this.ticks = ticks;
        this.clear();
    }

    // Shows what was looked at before the experiment was changed, or else the chosen load, unless the
    // user is about to show something, as long as not more than the part `most` of a load point has
    // to be run for that.
    offer(most) {
        const { trial, index, from = this.begin, ticks } = this.last ?? this.chosen();
        if (this.point === null && !this.isTyped && from / this.ticks <= most) {
            this.open({ trial, index, from, ticks });
        }
    }

    say(text) {
        this.parts.status.textContent = text;
    }

    setBusy(text) {
        this.parts.busy.hidden = text === null;
        this.parts.busyText.textContent = text ?? '';
    }

    selection() {
        const { trial, index } = this.point ?? this.chosen();
        const ticks = Math.round(ticksIn(this.layout, this.view));
        return { trial, index, from: Math.round(this.view.first), ticks };
    }

    // The load point that the selects tell.
    chosen() {
        const { load, trial } = this.parts;
        return { trial: Math.max(trial.selectedIndex, 0), index: Math.max(load.selectedIndex, 0) };
    }

    // Looks at a load point; what was chosen in another one is forgotten.
    setPoint({ trial, index }) {
        if (this.point?.trial !== trial || this.point.index !== index) {
            this.point = { trial, index };
            this.parts.load.value = String(index);
            this.parts.trial.value = String(trial);
            this.unselect();
            ++this.epoch;
        }
    }

    setView(view) {
        this.view = fitView(this.layout, view, this.ticks);
        if (document.activeElement !== this.parts.from) {
            this.parts.from.value = String(Math.round(this.view.first));
        }
        this.draw();
    }

    // Moves the view for the user: a failure before does not keep it from loading.
    move(view) {
        this.setView(view);
        this.isHalted = false;
        return this.load();
    }

    isLoaded() {
        const { trace, isEmpty } = this.part;
        const point = this.point ?? {};
        return !isEmpty && trace.trial === point.trial && trace.index === point.index;
    }

    // The part that is to be watched for the view, or null.
    missing() {
        if (this.point === null || this.ticks === 0) {
            return null;
        }
        const seen = ticksIn(this.layout, this.view);
        const { first } = this.view;
        const range = partAbout(first + seen / 2, this.ticks);
        if (!this.isLoaded()) {
            return range;
        }
        if (this.isMoved && this.selected >= 0) {
            return range;
        }
        const { trace } = this.part;
        const margin = Math.max(Math.min(seen, MOST_TICKS - seen) / 4, 0);
        const isNear =
            (first - margin < trace.from && trace.from > 0) ||
            (first + seen + margin > trace.until && trace.until < this.ticks);
        const isAsked = this.asked === `${this.epoch} ${range.from}`;
        return isNear && !isAsked ? range : null;
    }

    // Watches parts, one at a time, until the view has what it needs.
    load() {
        this.loading ??= this.loadAll().finally(() => {
            this.loading = null;
            this.parts.canvas.removeAttribute('aria-busy');
        });
        return this.loading;
    }

    async loadAll() {
        let range = this.missing();
        while (range !== null && !this.isHalted) {
            const { epoch, point } = this;
            this.parts.canvas.setAttribute('aria-busy', 'true');
            this.asked = `${epoch} ${range.from}`;
            try {
                const { watch } = this.actions;
                const trace = await watch(point.trial, point.index, range.from, range.ticks);
                if (epoch === this.epoch) {
                    this.adopt({ ...trace, ...point });
                }
            } catch (error) {
                if (epoch === this.epoch) {
                    this.fail(error);
                    this.asked = '';
                    return;
                }
            }
            range = this.missing();
        }
    }

    fail(error) {
        this.isHalted = true;
        this.isMoved = true;
        this.say(error?.message ?? String(error));
    }

    adopt(trace) {
        const old = this.part.trace.frames[this.selected];
        const isOld = ({ begin, sender }) => begin === old.begin && sender === old.sender;
        this.selected = old === undefined ? -1 : trace.frames.findIndex(isOld);
        this.part = { trace, lanes: indexTrace(trace), isEmpty: false };
        this.isMoved = false;
        this.say('');
        this.draw();
    }

    open({ trial, index, from, ticks }) {
        this.setPoint({ trial, index });
        const seen = ticks ?? ticksIn(this.layout, this.view);
        return this.move({ first: from, scale: this.layout.plot / seen });
    }

    goTo(tick) {
        this.setPoint(this.point ?? this.chosen());
        this.cursor = tick;
        const { scale } = this.view;
        return this.move({ first: tick - ticksIn(this.layout, this.view) / 2, scale });
    }

    isSeen(tick) {
        const end = this.view.first + ticksIn(this.layout, this.view);
        return tick !== null && tick >= this.view.first && tick < end;
    }

    // The tick behind which is searched.
    start() {
        return this.isSeen(this.cursor)
            ? this.cursor
            : Math.max(Math.floor(this.view.first) - 1, 0);
    }

    // The first mark of a kind behind `start`: in the part if it is there, else by the simulator.
    async find(kind, start) {
        const { trace } = this.part;
        const isCovered = this.isLoaded() && start >= trace.from - 1 && start < trace.until;
        const behind = (mark) => mark[0] > start && mark[2] === kind;
        const mark = isCovered ? trace.marks.find(behind) : undefined;
        if (mark !== undefined) {
            return mark[0];
        }
        const { trial, index } = this.point;
        this.isMoved = true;
        return this.actions.find(trial, index, kind, isCovered ? trace.until - 1 : start);
    }

    async search(kind) {
        if (this.ticks === 0) {
            return;
        }
        this.setPoint(this.point ?? this.chosen());
        const { epoch } = this;
        await this.loading;
        if (epoch !== this.epoch) {
            return;
        }
        const start = this.start();
        try {
            const tick = await this.find(kind, start);
            if (epoch !== this.epoch) {
                return;
            }
            if (tick === null) {
                this.say(`No ${KINDS[kind]} behind tick ${start} in this load point.`);
                return;
            }
            await this.goTo(tick);
            if (epoch === this.epoch && !this.isHalted) {
                this.say(foundText(this.part.trace, kind, tick));
            }
        } catch (error) {
            if (epoch === this.epoch) {
                this.fail(error);
            }
        }
    }

    tellLines(lines) {
        const list = lines.map((line) => html('li', {}, line));
        this.parts.story.replaceChildren(html('ul', {}, ...list));
    }

    unselect() {
        ++this.told;
        this.selected = -1;
        this.parts.story.replaceChildren(html('p', {}, HINT));
        this.draw();
    }

    async select(place) {
        const told = ++this.told;
        const { begin } = this.part.trace.frames[place];
        this.selected = place;
        this.cursor = null;
        if (!this.isSeen(Math.max(begin, this.part.trace.from))) {
            this.goTo(begin);
        }
        this.cursor = begin;
        this.draw();
        try {
            this.isHalted = false;
            await this.load(); // places count in the part that was watched last
            if (told !== this.told || this.selected < 0 || this.isMoved) {
                return;
            }
            const lines = await this.actions.tell(this.selected);
            if (told === this.told) {
                this.tellLines(lines);
            }
        } catch (error) {
            if (told === this.told) {
                this.say(error.message);
            }
        }
    }

    // Selects the next frame (1) or the one before (-1), by begin; beyond the part it is loaded.
    async step(way) {
        const old = this.part.trace.frames[this.selected];
        const at = old?.begin ?? this.start();
        const placeOf = (frames) =>
            way > 0
                ? firstPlace(frames, (each) => each.begin > at)
                : firstPlace(frames, (each) => each.begin >= at) - 1;
        let place = old === undefined ? placeOf(this.part.trace.frames) : this.selected + way;
        if (this.part.trace.frames[place] === undefined) {
            const { from, until } = this.part.trace;
            if (way > 0 ? until < this.ticks : from > 0) {
                const going = this.goTo(way > 0 ? until : from);
                const { epoch } = this;
                await going;
                if (epoch !== this.epoch || this.isHalted) {
                    return;
                }
            }
            place = placeOf(this.part.trace.frames);
        }
        if (this.part.trace.frames[place] === undefined) {
            this.say(`No ${way > 0 ? 'later' : 'earlier'} frame nearby.`);
            return;
        }
        await this.select(place);
    }

    choose(x, y, slack) {
        const hit = hitTest(this.layout, this.view, this.part, x, y, slack);
        if (hit === null || this.part.isEmpty) {
            return;
        }
        if (hit.place >= 0) {
            this.select(hit.place);
            return;
        }
        this.unselect();
        this.cursor = hit.tick;
        this.tellLines(tellPlace(this.part.trace, hit.station, hit.tick));
    }

    zoom(factor, x = this.layout.left + this.layout.plot / 2) {
        this.move(zoomView(this.layout, this.view, x, factor, this.ticks));
    }

    pan(pixels) {
        const { first, scale } = this.view;
        this.move({ first: first + pixels / scale, scale });
    }

    // Draws in the next animation frame, once whatever happens before it.
    draw() {
        this.request ??= requestAnimationFrame(() => {
            this.request = null;
            this.resize();
            const { trace, lanes } = this.part;
            const { selected, cursor } = this;
            const colors = readColors(this.parts.canvas);
            drawTimeline(
                this.ctx,
                this.layout,
                this.view,
                { trace, lanes, selected, cursor },
                colors,
            );
        });
    }

    // The view keeps its ticks when the canvas gets another width.
    resize() {
        const { canvas } = this.parts;
        const { plot } = this.layout;
        this.layout = layoutOf(canvas.clientWidth, STATIONS);
        sizeCanvas(canvas, this.layout);
        if (plot !== this.layout.plot) {
            this.view.scale *= this.layout.plot / plot;
        }
    }

    listen() {
        const { form, load, trial, from, stop, zoomIn, zoomOut, previous, next } = this.parts;
        form.addEventListener('submit', (event) => {
            event.preventDefault();
            if (this.ticks > 0) {
                this.cursor = null;
                this.open({ ...this.chosen(), from: Number(from.value) || 0 });
            }
        });
        from.addEventListener('input', () => {
            this.isTyped = true;
        });
        const rechoose = () => this.point && this.open({ ...this.chosen(), from: this.view.first });
        load.addEventListener('change', rechoose);
        trial.addEventListener('change', rechoose);
        stop.addEventListener('click', () => this.actions.stop());
        Object.keys(KINDS).forEach((kind) =>
            this.parts[kind].addEventListener('click', () => this.search(kind)),
        );
        previous.addEventListener('click', () => this.step(-1));
        next.addEventListener('click', () => this.step(1));
        zoomIn.addEventListener('click', () => this.zoom(ZOOM_STEP));
        zoomOut.addEventListener('click', () => this.zoom(1 / ZOOM_STEP));
        listenToCanvas(this);
    }
}

// Makes a timeline in `root`. Ticks are of 1 us; `open` resolves when all is loaded or has failed,
// which the status line tells.
export function createTimeline(root, actions) {
    const timeline = new Timeline(root, actions);
    return {
        setExperiment: (experiment) => timeline.setExperiment(experiment),
        offer: (most) => timeline.offer(most),
        open: (selection) => timeline.open(selection),
        setBusy: (text) => timeline.setBusy(text),
        redraw: () => timeline.draw(),
    };
}
