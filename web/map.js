// The map of the ten stations: who hears whom, the flows, and what is hidden from the chosen one.
// It reckons nothing about the network: neighbours, paths and hidden stations are told to it. The
// one idea: a station's place and its disc are apart, so that of two 1 m apart each can be grabbed.

import { html, svg } from './dom.js';
import { joinFlows } from './experiment.js';
import { describeNeighbours, listInWords, tellUnheard, unheardHops } from './map_words.js';
import { fitView, niceLength, RADIUS, roundTo, spreadDiscs } from './map_places.js';

const STATIONS = 10;
const DRAG_START = 4; // pixels that tell a drag from a click
const FLOW_COLOURS = 8;
const ARROW_KEYS = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };

function pixels(map, [x, y]) {
    return [map.view.x + x * map.view.scale, map.view.y + y * map.view.scale];
}

function fit(map) {
    map.width = map.svg.clientWidth || 600;
    map.height = map.svg.clientHeight || 320;
    map.svg.setAttribute('viewBox', `0 0 ${map.width} ${map.height}`);
    map.view = fitView(map.places, map.width, map.height);
}

function draw(map) {
    if (map.places === null) {
        return;
    }
    if (map.view === null) {
        fit(map);
    }
    map.anchors = map.places.map((place) => pixels(map, place));
    const pinned = map.drag?.moving ? map.drag.station : null;
    const wanted = map.anchors.map((place, i) =>
        i === pinned ? [place[0] + map.drag.apart[0], place[1] + map.drag.apart[1]] : place,
    );
    map.discs = spreadDiscs(wanted, map.width, map.height, pinned);
    drawRanges(map);
    drawLinks(map);
    drawFlows(map);
    drawLeaders(map);
    map.stations.forEach((_, i) => drawStation(map, i));
    drawLetters(map);
    drawScaleBar(map);
    say(map);
}

function drawRanges(map) {
    const circles = [];
    if (map.chosen !== null) {
        const [cx, cy] = map.anchors[map.chosen];
        const circle = (kind, metres) =>
            svg('circle', { class: `map-range-${kind}`, cx, cy, r: metres * map.view.scale });
        circles.push(circle('receive', map.experiment.transmission_range_m));
        if (hasOwnSenseRange(map)) {
            circles.push(circle('sense', map.experiment.carrier_sense_range_m));
        }
    }
    map.layers.ranges.replaceChildren(...circles);
}

function hasOwnSenseRange(map) {
    const { transmission_range_m: received, carrier_sense_range_m: sensed } = map.experiment;
    return sensed !== undefined && sensed !== received;
}

// 2 if `i` receives the frames of `j`, 1 if it only senses them, 0 if neither.
function hearing(network, i, j) {
    return network.receives[i].includes(j) ? 2 : network.senses[i].includes(j) ? 1 : 0;
}

function drawLinks(map) {
    const drawn = [];
    for (let i = 0; map.network !== null && i < STATIONS; i++) {
        for (let j = 0; j < i; j++) {
            const atI = hearing(map.network, i, j);
            const atJ = hearing(map.network, j, i);
            if (atI + atJ > 0) {
                const kind = Math.max(atI, atJ) === 2 ? 'map-link' : 'map-link map-link-sensed';
                const [from, to] = atI > atJ ? [j, i] : [i, j];
                drawn.push(...arc(map.discs[from], map.discs[to], 0, atI !== atJ, kind, 1));
            }
        }
    }
    map.layers.links.replaceChildren(...drawn);
}

// A line from disc to disc, bent by `bend` pixels to the left of its way, with a head if wanted.
function arc(from, to, bend, hasHead, kind, width) {
    const [dx, dy] = [to[0] - from[0], to[1] - from[1]];
    const length = Math.hypot(dx, dy) || 1;
    const middle = [
        (from[0] + to[0]) / 2 + (dy / length) * 2 * bend,
        (from[1] + to[1]) / 2 - (dx / length) * 2 * bend,
    ];
    const begin = stepTowards(from, middle, RADIUS);
    const end = stepTowards(to, middle, RADIUS + (hasHead ? 5 + width : 0));
    const line = `M${begin.join(' ')}Q${middle.join(' ')} ${end.join(' ')}`;
    const parts = [svg('path', { class: kind, d: line, 'stroke-width': width })];
    if (hasHead) {
        parts.push(svg('path', { class: `${kind} map-head`, d: head(to, middle, width) }));
    }
    return parts;
}

function stepTowards(from, to, step) {
    const length = Math.hypot(to[0] - from[0], to[1] - from[1]) || 1;
    return [
        from[0] + ((to[0] - from[0]) / length) * step,
        from[1] + ((to[1] - from[1]) / length) * step,
    ];
}

function head(to, middle, width) {
    const tip = stepTowards(to, middle, RADIUS + 1);
    const back = stepTowards(to, middle, RADIUS + 8 + width);
    const half = [(tip[1] - back[1]) * 0.45, (back[0] - tip[0]) * 0.45];
    const left = [back[0] + half[0], back[1] + half[1]];
    const right = [back[0] - half[0], back[1] - half[1]];
    return `M${tip.join(' ')}L${left.join(' ')}L${right.join(' ')}Z`;
}

function drawFlows(map) {
    const used = new Map(); // hops drawn so far by their ends: each next one is bent more
    const unheard =
        map.network === null ? [] : unheardHops(map.network).map((hop) => hop.join('>'));
    const colours = joinFlows(map.experiment.flows).map(({ from, to }) => `${from}>${to}`);
    const groups = map.experiment.flows.map((flow, k) => {
        const colour = colours.indexOf(`${flow.from}>${flow.to}`) % FLOW_COLOURS;
        const path = map.network?.paths[k] ?? [];
        const isKnown = path.length > 1;
        const hops = isKnown ? path : [flow.from, flow.to];
        const group = svg('g', { class: 'map-flow', 'data-testid': `map-flow-${k}` });
        group.style.setProperty('--flow', `var(--flow-${colour})`);
        group.append(svg('title', {}, flowTitle(map, flow, path)));
        const width = Math.min(1.5 + Math.log2(Math.max(flow.weight ?? 1, 0.5)), 8);
        for (let hop = 0; hop + 1 < hops.length; hop++) {
            const ends = `${hops[hop]}>${hops[hop + 1]}`;
            const bend = Math.min(4 + 5 * (used.get(ends) ?? 0), 44);
            used.set(ends, (used.get(ends) ?? 0) + 1);
            const isHeard = isKnown && !unheard.includes(ends);
            const kind = isHeard ? 'map-flow-line' : 'map-flow-line map-flow-unknown';
            const [from, to] = [map.discs[hops[hop]], map.discs[hops[hop + 1]]];
            group.append(...arc(from, to, bend, true, kind, width));
        }
        return group;
    });
    map.layers.flows.replaceChildren(...groups);
}

function flowTitle(map, flow, path) {
    const way = path.length > 2 ? `, by ${listInWords(path.slice(1, -1))}` : '';
    const missing = map.network !== null && path.length < 2 ? ', no path' : '';
    return `Flow ${flow.from} to ${flow.to}, weight ${flow.weight ?? 1}${way}${missing}`;
}

function drawLeaders(map) {
    const drawn = [];
    map.anchors.forEach(([x, y], i) => {
        const [discX, discY] = map.discs[i];
        if (Math.hypot(discX - x, discY - y) > 1.5) {
            drawn.push(svg('line', { class: 'map-leader', x1: x, y1: y, x2: discX, y2: discY }));
            drawn.push(svg('circle', { class: 'map-place', cx: x, cy: y, r: 2 }));
        }
    });
    map.layers.leaders.replaceChildren(...drawn);
}

// The letters at a station's disc: R received, S sensed only, H hidden from the chosen one.
function badge(map, i) {
    if (map.chosen === null || map.network === null || i === map.chosen) {
        return '';
    }
    const isHidden = map.network.hidden[map.chosen].some(([station]) => station === i);
    return ['', 'S', 'R'][hearing(map.network, map.chosen, i)] + (isHidden ? 'H' : '');
}

function drawStation(map, i) {
    const disc = map.stations[i];
    const letters = badge(map, i);
    const mark = {
        R: ['circle', { class: 'map-mark', r: RADIUS + 3 }],
        S: ['circle', { class: 'map-mark map-mark-sensed', r: RADIUS + 3 }],
        H: ['path', { class: 'map-mark map-mark-hidden', d: 'M0-20L20 0L0 20L-20 0Z' }],
    };
    disc.setAttribute('transform', `translate(${map.discs[i].join(' ')})`);
    disc.setAttribute('aria-pressed', String(i === map.chosen));
    disc.setAttribute('aria-label', stationLabel(map, i));
    disc.classList.toggle('map-chosen', i === map.chosen);
    disc.querySelector('.map-marks').replaceChildren(
        ...[...letters].map((letter) => svg(...mark[letter])),
    );
}

// Letters are no part of the discs, whose names would have to begin with them.
function drawLetters(map) {
    const texts = map.discs.map(([x, y], i) => svg('text', { x: x + 15, y: y - 9 }, badge(map, i)));
    map.layers.letters.replaceChildren(...texts);
}

function stationLabel(map, i) {
    const ends = (end, other) =>
        [
            ...new Set(map.experiment.flows.filter((flow) => flow[end] === i).map((f) => f[other])),
        ].sort((a, b) => a - b);
    const parts = [`Station ${i}`];
    const receivers = ends('from', 'to');
    const senders = ends('to', 'from');
    const flows = (others) => (others.length > 1 ? 'flows' : 'a flow');
    if (receivers.length > 0) {
        parts.push(`sender of ${flows(receivers)} to ${listInWords(receivers)}`);
    }
    if (senders.length > 0) {
        parts.push(`receiver of ${flows(senders)} from ${listInWords(senders)}`);
    }
    return `${parts.join(', ')}, at ${map.places[i].join(', ')} m`;
}

function drawScaleBar(map) {
    const metres = niceLength(map.width / 4 / map.view.scale);
    const [x, y, length] = [12, map.height - 10, metres * map.view.scale];
    map.layers.scale.replaceChildren(
        svg('path', { d: `M${x} ${y - 4}v4h${length}v-4`, fill: 'none' }),
        svg(
            'text',
            { x: x + length + 6, y },
            metres < 1000 ? `${metres} m` : `${metres / 1000} km`,
        ),
    );
}

// Tells what has changed only, as every change is read out.
function say(map) {
    let text = 'No station is chosen.';
    if (map.chosen === null) {
        text += map.network === null ? '' : tellUnheard(map.network);
    } else {
        text =
            map.network === null
                ? `Station ${map.chosen}: its neighbours are being reckoned.`
                : describeNeighbours(map.network, map.chosen);
    }
    if (map.status.textContent !== text) {
        map.status.textContent = text;
    }
    showLegend(map);
}

// What stands for what, as far as it is drawn.
function showLegend(map) {
    const { experiment, chosen, layers } = map;
    const isDrawn = (layer, kind) => layers[layer].querySelector(kind) !== null;
    const kinds = [
        ['link', 'frames are received', isDrawn('links', '.map-link:not(.map-link-sensed)')],
        ['sensed', 'only the carrier is sensed', isDrawn('links', '.map-link-sensed')],
        ['unheard', 'flow that is not heard', isDrawn('flows', '.map-flow-unknown')],
        ['place', 'true place of a disc moved aside', isDrawn('leaders', '.map-place')],
        ['receive', `transmission range ${experiment.transmission_range_m} m`, chosen !== null],
        [
            'sense',
            `carrier sense range ${experiment.carrier_sense_range_m} m`,
            chosen !== null && hasOwnSenseRange(map),
        ],
    ].filter((kind) => kind[2]);
    const spans = kinds.map(([kind, name]) => html('span', { class: `map-legend-${kind}` }, name));
    const letters = 'R received · S sensed only · H hidden';
    const items = chosen === null ? spans : [...spans, letters];
    const text = items.map((item) => item.textContent ?? item).join();
    if (map.legendText !== text) {
        map.legendText = text;
        map.legend.replaceChildren(...items);
    }
}

function choose(map, station) {
    if (station !== map.chosen) {
        map.chosen = station;
        draw(map);
    }
}

function place(map, station, x, y, isFinal) {
    map.places[station] = [x, y];
    if (isFinal) {
        map.view = null;
    }
    draw(map);
    map.actions.move(station, x, y, isFinal);
}

function press(map, station, event) {
    if (event.button !== 0 || map.drag !== null || map.places === null) {
        return;
    }
    map.drag = {
        station,
        id: event.pointerId,
        begin: [event.clientX, event.clientY],
        origin: map.places[station],
        apart: map.discs[station].map((at, axis) => at - map.anchors[station][axis]),
        moving: false,
        frame: 0,
    };
    map.stations[station].setPointerCapture(event.pointerId);
}

// Where the drag has the station, in metres; the coarser grid with Shift.
function draggedPlace(map, event) {
    const step = event.shiftKey ? 0.5 : 0.1;
    return [event.clientX, event.clientY].map((at, axis) =>
        roundTo(map.drag.origin[axis] + (at - map.drag.begin[axis]) / map.view.scale, step),
    );
}

function drag(map, event) {
    const now = map.drag;
    if (now === null || event.pointerId !== now.id) {
        return;
    }
    const way = Math.hypot(event.clientX - now.begin[0], event.clientY - now.begin[1]);
    if (!now.moving && way < DRAG_START) {
        return;
    }
    if (!now.moving) {
        now.moving = true;
        choose(map, now.station);
    }
    now.to = draggedPlace(map, event);
    now.frame ||= requestAnimationFrame(() => {
        now.frame = 0;
        place(map, now.station, ...now.to, false);
    });
}

// Ends the drag where it is, or where it began if it was given up; a press alone chooses.
function release(map, event, isGivenUp) {
    const ended = map.drag;
    if (ended === null || (event.pointerId ?? ended.id) !== ended.id) {
        return;
    }
    cancelAnimationFrame(ended.frame);
    const to = isGivenUp ? ended.origin : ended.moving ? draggedPlace(map, event) : null;
    map.drag = null;
    if (ended.moving) {
        place(map, ended.station, ...to, true);
    } else if (!isGivenUp) {
        choose(map, map.chosen === ended.station ? null : ended.station);
    }
}

function pressKey(map, event) {
    const station = map.stations.indexOf(event.target.closest('.map-station'));
    if (event.key === 'Escape') {
        if (map.drag !== null) {
            release(map, {}, true);
        } else {
            choose(map, null);
        }
    } else if (station < 0 || map.places === null || event.ctrlKey || event.metaKey) {
        return;
    } else if (event.key === 'Enter' || event.key === ' ') {
        choose(map, map.chosen === station ? null : station);
        event.preventDefault();
    } else if (event.key in ARROW_KEYS && map.drag === null) {
        const step = event.altKey ? 0.1 : event.shiftKey ? 10 : 1;
        const [dx, dy] = ARROW_KEYS[event.key];
        const [x, y] = map.places[station];
        map.held = event.repeat ? station : null;
        place(
            map,
            station,
            roundTo(x + dx * step, 0.1),
            roundTo(y + dy * step, 0.1),
            !event.repeat,
        );
        event.preventDefault();
    }
}

// A held key has moved a station up to here.
function releaseKey(map) {
    if (map.held !== null) {
        const station = map.held;
        map.held = null;
        place(map, station, ...map.places[station], true);
    }
}

function makeStation(map, i) {
    const disc = svg('g', {
        class: 'map-station',
        tabindex: 0,
        role: 'button',
        'data-testid': `station-${i}`,
    });
    disc.append(
        svg('g', { class: 'map-marks' }),
        svg('circle', { class: 'map-disc', r: RADIUS }),
        svg('text', { class: 'map-number' }, i),
    );
    disc.addEventListener('pointerdown', (event) => press(map, i, event));
    disc.addEventListener('pointermove', (event) => drag(map, event));
    disc.addEventListener('pointerup', (event) => release(map, event, false));
    disc.addEventListener('pointercancel', (event) => release(map, event, true));
    // Or else fingers scroll the page: not all browsers heed touch-action inside of a drawing.
    disc.addEventListener('touchmove', (event) => event.preventDefault(), { passive: false });
    return disc;
}

function build(map, root) {
    map.svg = svg('svg', {
        class: 'map-drawing',
        role: 'group',
        'aria-label': 'Map of stations',
    });
    for (const name of ['ranges', 'links', 'leaders', 'flows', 'stations', 'letters', 'scale']) {
        map.layers[name] = svg('g', { class: `map-${name}` });
        map.svg.append(map.layers[name]);
    }
    map.stations = Array.from({ length: STATIONS }, (_, i) => makeStation(map, i));
    map.svg.addEventListener('keydown', (event) => pressKey(map, event));
    map.svg.addEventListener('keyup', () => releaseKey(map));
    map.svg.addEventListener('focusout', () => releaseKey(map));
    map.svg.addEventListener('click', (event) => event.target === map.svg && choose(map, null));
    map.legend = document.createElement('p');
    map.legend.className = 'map-legend';
    map.status = document.createElement('p');
    map.status.className = 'map-status';
    map.status.dataset.testid = 'map-neighbours';
    map.status.setAttribute('role', 'status');
    map.status.setAttribute('aria-live', 'polite');
    root.classList.add('map');
    root.replaceChildren(map.svg, map.legend, map.status);
}

function setExperiment(map, experiment) {
    const kept = map.drag === null ? null : map.places[map.drag.station];
    map.experiment = experiment;
    map.places = experiment.stations.map((at) => [...at]);
    if (kept !== null) {
        map.places[map.drag.station] = kept;
    } else {
        map.view = null;
    }
    if (map.layers.stations.childElementCount === 0) {
        map.layers.stations.append(...map.stations); // once: taken out, a disc loses the focus
    }
    draw(map);
}

// Makes the map inside `root`. Places and ranges are in metres, y downwards. Calls
// actions.move(station, x, y, isFinal) once per frame of a drag and at its end, and for each arrow
// key; while one is held, not finally until it is let go.
export function createMap(root, actions) {
    const map = {
        actions,
        places: null,
        network: null,
        chosen: null,
        view: null,
        drag: null,
        held: null, // the station that a held arrow key moves
        layers: {},
    };
    build(map, root);
    new ResizeObserver(() => {
        if (map.drag === null) {
            map.view = null;
            draw(map);
        }
    }).observe(map.svg);
    return {
        setExperiment: (experiment) => setExperiment(map, experiment),
        setNetwork: (network) => {
            map.network = network;
            draw(map);
        },
        redraw: () => draw(map),
    };
}
