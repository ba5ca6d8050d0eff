// Where things are on the map: metres to pixels, and discs kept apart so that each can be grabbed.

export const RADIUS = 12; // pixels, of a disc
const DISC_GAP = 2 * RADIUS + 22; // pixels between two centres: a flow's arrow fits between discs
const NARROW = 500; // pixels of width below which discs stand closer, so that ten fit in a line
const NARROW_GAP = 2 * RADIUS + 9;
const EDGE = RADIUS + 6; // pixels from the edge of the drawing to the centre of a disc
const MARGIN = 44; // pixels around the outermost stations
const NARROW_MARGIN = 24;
const MIN_SPAN_M = 10; // metres shown at least, where stations coincide

// Metres to the nearest `step`, free of the noise of binary fractions and of -0.
export function roundTo(metres, step) {
    return Number((Math.round(metres / step) * step).toFixed(1)) + 0;
}

// Where discs go that belong at `places` (pixels): moved apart until none overlaps, by the same
// way every time, and kept inside the drawing. The disc number `pinned`, if any, stays.
export function spreadDiscs(places, width, height, pinned = null) {
    const gap = width < NARROW ? NARROW_GAP : DISC_GAP;
    const discs = places.map(([x, y], i) => [x + 0.01 * Math.cos(i), y + 0.01 * Math.sin(i)]);
    for (let round = 0; round < 300; round++) {
        let moved = false;
        for (let i = 0; i < discs.length; i++) {
            for (let j = 0; j < i; j++) {
                moved = pushApart(discs, i, j, pinned, gap) || moved;
            }
        }
        discs.forEach((disc, i) => {
            if (i !== pinned) {
                disc[0] = Math.min(Math.max(disc[0], EDGE), width - EDGE);
                disc[1] = Math.min(Math.max(disc[1], EDGE), height - EDGE);
            }
        });
        if (!moved) {
            break;
        }
    }
    return discs;
}

function pushApart(discs, i, j, pinned, gap) {
    const dx = discs[i][0] - discs[j][0];
    const dy = discs[i][1] - discs[j][1];
    const distance = Math.hypot(dx, dy) || 1e-9;
    if (distance >= gap - 0.1) {
        return false;
    }
    const push = (gap - distance) / distance;
    const share = pinned === i ? 1 : pinned === j ? 0 : 0.5; // of the way, that goes to j
    discs[i][0] += dx * push * (1 - share);
    discs[i][1] += dy * push * (1 - share);
    discs[j][0] -= dx * push * share;
    discs[j][1] -= dy * push * share;
    return true;
}

// The scale (pixels per metre) and origin by which all `places` (metres) fit into the pixels.
export function fitView(places, width, height) {
    const xs = places.map((place) => place[0]);
    const ys = places.map((place) => place[1]);
    const span = (values) => Math.max(Math.max(...values) - Math.min(...values), MIN_SPAN_M);
    const middle = (values) => (Math.max(...values) + Math.min(...values)) / 2;
    const margin = width < NARROW ? NARROW_MARGIN : MARGIN;
    const scale = Math.min(
        Math.max(width - 2 * margin, 1) / span(xs),
        Math.max(height - 2 * MARGIN, 1) / span(ys),
    );
    return { scale, x: width / 2 - middle(xs) * scale, y: height / 2 - middle(ys) * scale };
}

// The greatest of 1, 2, 5, 10, ... metres (or 0.1, ...) that is at most `limit`.
export function niceLength(limit) {
    const power = 10 ** Math.floor(Math.log10(limit));
    const factor = [5, 2, 1].find((times) => times * power <= limit) ?? 1;
    return Number((factor * power).toPrecision(1));
}
