// How a flow is told from the others besides by its colour: marks and dashes.
import { svg } from './dom.js';

export const FLOW_COLOURS = 8;
const DASHES = [undefined, [12, 3], [2, 3], [9, 3, 2, 3]]; // by rounds of the colours
// Marks by flow, as [corners, turn in degrees].
const SHAPES = [
    [16, 0],
    [4, 45],
    [3, -90],
    [4, 0],
    [3, 90],
    [5, -90],
    [3, 0],
    [6, 0],
];
// Corners of the mark of flow `k` around the origin.
export function corners(k, radius) {
    const [count, turn] = SHAPES[k % SHAPES.length];
    return Array.from({ length: count }, (_, i) => {
        const angle = (turn / 180 + (2 * i) / count) * Math.PI;
        return [radius * Math.cos(angle), radius * Math.sin(angle)];
    });
}

// How many steps wider a line and its marks are for the lines that are drawn on top of it. With too
// many flows it would take too much room.
export function layerOf(flow, flowNum) {
    const MOST_LAYERS = 8;
    if (flow === null) {
        return flowNum === 1 ? 4 : 1.2;
    }
    return flowNum <= MOST_LAYERS ? flowNum - 1 - flow : 0;
}

export function flowDash(k) {
    return DASHES[Math.floor(k / FLOW_COLOURS) % DASHES.length];
}

export function sample(flow) {
    const stroke = flow === null ? 'var(--ink)' : `var(--flow-${flow % FLOW_COLOURS})`;
    const dash = flow === null ? '' : (flowDash(flow) ?? []).join(' ');
    const points = corners(flow ?? 0, 4).map(([x, y]) => `${x + 15},${y + 6}`);
    const made = svg(
        'svg',
        { width: 30, height: 12, 'aria-hidden': 'true' },
        svg('path', { d: 'M0 6H30', 'stroke-dasharray': dash, 'stroke-width': 1.8 }),
        svg('polygon', { points: points.join(' ') }),
    );
    made.style.setProperty('--flow', stroke);
    return made;
}
