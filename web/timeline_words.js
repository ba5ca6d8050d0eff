// What is told of places in a timeline and of marks that a search has found.
import { lookOf, slotsOf, valueAt } from './timeline_draw.js';
import { firstPlace } from './timeline_view.js';

const CONTENDING = new Set(['defer', 'DIFS', 'EIFS', 'backoff']);
// The classes of collisions, as docs/model.md has them.
const CLASSES = {
    con: 'contention, the two senders sense each other',
    'hid/phy': 'hidden sender, whose frame began later',
    'hid/pro': 'hidden sender, whose frame had begun earlier',
    'hid/hcon': 'hidden sender, whose frame began in the same tick',
};
const plural = (num, word) => `${num} ${word}${num === 1 ? '' : 's'}`;

// Kinds of marks that are searched for, and what they are called.
export const KINDS = { collision: 'collision', drop: 'drop', timeout: 'time-out' };

// Where marks of a kind are at a tick; empty if none is held.
export function foundText(trace, kind, tick) {
    const found = trace.marks.filter((mark) => mark[0] === tick && mark[2] === kind);
    const places = found.map((mark) => `station ${mark[1]}${mark[3] ? ` (${mark[3]})` : ''}`);
    const classes = new Set(found.map((mark) => mark[3]?.split(' ')[0]));
    const meanings = [...classes].filter((name) => Object.hasOwn(CLASSES, name ?? ''));
    const told = meanings.map((name) => ` ${name}: ${CLASSES[name]}.`).join('');
    return places.length > 0 ? `Tick ${tick}: ${KINDS[kind]} at ${places.join(', ')}.${told}` : '';
}

function spanAt(spans, tick) {
    const span = spans[firstPlace(spans, (each) => each[1] > tick)];
    return span !== undefined && span[0] <= tick ? span : null;
}

function tellPhase(trace, span, tick) {
    const isBackoff = trace.phases[span[2]] === 'backoff';
    const left = slotsOf(span[3] - (isBackoff ? tick - span[0] : 0), trace);
    const isContending = CONTENDING.has(trace.phases[span[2]]);
    const backoff = isContending ? `; backoff left: ${plural(left, 'slot')}` : '';
    return (
        `${lookOf(trace, span[2])[3]}, in ticks ${span[0]} to ${span[1] - 1} ` +
        `(${span[1] - span[0]} us)${backoff}; retry ${span[4]}.`
    );
}

// What a station does at a tick, in sentences.
export function tellPlace(trace, station, tick) {
    if (tick < trace.from || tick >= trace.until) {
        return [`Tick ${tick} of station ${station} is not loaded.`];
    }
    const lane = trace.lanes[station];
    const span = spanAt(lane.phases, tick);
    const nav = spanAt(lane.navs, tick);
    const overlap = spanAt(lane.overlaps, tick);
    const sentences = [
        `Station ${station} at tick ${tick}: ${span === null ? '' : tellPhase(trace, span, tick)}`,
        nav === null ? 'Its NAV is 0.' : `Its NAV is ${nav[1] - tick} us, until tick ${nav[1]}.`,
        `Its queue holds ${plural(valueAt(lane.queue, tick), 'packet')}; ` +
            `its contention window is ${valueAt(lane.window, tick)} slots.`,
    ];
    if (overlap !== null) {
        sentences.push(`Signals overlap here in ticks ${overlap[0]} to ${overlap[1] - 1}.`);
    }
    return sentences;
}
