// The drawing of a timeline: what it looks like. Nothing here
// holds state, so every picture follows from its scene and view alone.
import {
    AXIS_HEIGHT,
    FRAME_ROW,
    LANE_HEIGHT,
    axisSteps,
    firstPlace,
    ticksIn,
    xAt,
} from './timeline_view.js';

const STATE_ROW = 16;
const NAV_ROW = 12;
const FONT = '11px sans-serif';
const SMALL_FONT = '10px sans-serif';
const BOLD_FONT = 'bold 11px sans-serif';
const FRAME_COLORS = ['--frame-rts', '--frame-cts', '--frame-data', '--frame-ack'];

// By the name of a phase: colour, text in a block, short text, words.
const LOOKS = {
    IDLE: ['--phase-idle', '', '', 'idle'],
    TRTS: ['--frame-rts', 'TRTS', '', 'sends RTS'],
    WTCTS: ['--phase-sifs', 'SIFS', '', 'waits SIFS before its CTS'],
    TCTS: ['--frame-cts', 'TCTS', '', 'sends CTS'],
    WTDAT: ['--phase-sifs', 'SIFS', '', 'waits SIFS before its DATA'],
    TDAT: ['--frame-data', 'TDAT', '', 'sends DATA'],
    WTACK: ['--phase-sifs', 'SIFS', '', 'waits SIFS before its ACK'],
    TACK: ['--frame-ack', 'TACK', '', 'sends ACK'],
    WRCTS: ['--phase-await', 'awaits CTS', 'WRCTS', 'awaits the CTS'],
    WRDAT: ['--phase-await', 'awaits DATA', 'WRDAT', 'awaits DATA'],
    RDAT: ['--phase-receive', 'receives DATA', 'RDAT', 'receives DATA'],
    RACK: ['--phase-await', 'awaits ACK', 'RACK', 'awaits the ACK'],
    defer: ['--phase-defer', 'waits', '', 'has a packet, waits for the medium'],
    DIFS: ['--phase-difs', 'DIFS', '', 'waits DIFS'],
    EIFS: ['--phase-eifs', 'EIFS', '', 'waits EIFS'],
    backoff: ['--phase-backoff', 'backoff', '', 'counts down its backoff'],
};
const COLORS = [
    ...new Set([
        '--paper',
        '--panel',
        '--ink',
        '--muted',
        '--line',
        '--accent',
        '--alarm',
        '--nav',
    ]),
    ...FRAME_COLORS,
    ...new Set(Object.values(LOOKS).map((look) => look[0])),
];

// The value that holds at a tick.
export function valueAt(steps, tick) {
    const place = firstPlace(steps, (step) => step[0] > tick);
    return place > 0 ? steps[place - 1][1] : 0;
}

export const slotsOf = (ticks, trace) => Math.ceil(ticks / trace.slot);
export const lookOf = (trace, phase) =>
    LOOKS[trace.phases[phase]?.trim()] ?? [
        '--phase-idle',
        trace.phases[phase] ?? '',
        '',
        'unknown',
    ];

// The colours of the page, by variable.
export function readColors(element) {
    const style = getComputedStyle(element);
    const read = (name) => [name, style.getPropertyValue(name).trim() || '#888888'];
    return Object.fromEntries(COLORS.map(read));
}

// Black or white, whichever is read more easily on a colour.
function inkOn(sheet, color) {
    if (!sheet.inks.has(color)) {
        sheet.ctx.fillStyle = color;
        const [, r, g, b] = /^#(..)(..)(..)/.exec(sheet.ctx.fillStyle) ?? [0, '80', '80', '80'];
        const [red, green, blue] = [r, g, b].map((part) => parseInt(part, 16));
        sheet.inks.set(color, 0.3 * red + 0.59 * green + 0.11 * blue > 130 ? '#000' : '#fff');
    }
    return sheet.inks.get(color);
}

const TEXT_WIDTHS = new Map();

function widthOf(ctx, font, text) {
    const key = font + text;
    if (!TEXT_WIDTHS.has(key)) {
        if (TEXT_WIDTHS.size > 5000) {
            TEXT_WIDTHS.clear(); // packets have ever new numbers
        }
        ctx.font = font;
        TEXT_WIDTHS.set(key, ctx.measureText(text).width);
    }
    return TEXT_WIDTHS.get(key);
}

// A block of the ticks begin .. end-1 with the first of the texts that fits into what is seen of it.
function drawBlock(sheet, begin, end, y, height, color, edge, font, texts) {
    const { ctx, layout, view } = sheet;
    const x = Math.max(xAt(layout, view, begin), layout.left - 2);
    const right = Math.min(xAt(layout, view, end), layout.width + 2);
    ctx.fillStyle = color;
    ctx.fillRect(x, y, Math.max(right - x, 0.6), height);
    if (right - x < 3) {
        return;
    }
    ctx.strokeStyle = edge;
    ctx.lineWidth = 0.7;
    ctx.strokeRect(x, y + 0.35, right - x, height - 0.7);
    drawFitting(sheet, x, right, y, height, color, font, texts);
}

// The first of the texts that fits between two edges, in the middle.
function drawFitting(sheet, x, right, y, height, color, font, texts) {
    const { ctx } = sheet;
    const room = right - x - 4;
    const text = room < 6 ? undefined : texts.find((each) => widthOf(ctx, font, each) <= room);
    if (text) {
        ctx.font = font;
        ctx.fillStyle = inkOn(sheet, color);
        ctx.textAlign = 'center';
        ctx.fillText(text, (x + right) / 2, y + height / 2 + 3.8);
    }
}

// Calls `draw` for the spans that are seen.
function eachSpan(sheet, spans, draw) {
    for (let i = firstPlace(spans, (span) => span[1] > sheet.first); i < spans.length; ++i) {
        if (spans[i][0] >= sheet.last) {
            return;
        }
        draw(spans[i]);
    }
}

function drawSlots(sheet, span, y) {
    const { ctx, layout, view, trace } = sheet;
    const { slot } = trace;
    if (slot * view.scale < 4) {
        return;
    }
    ctx.beginPath();
    for (let left = slotsOf(span[3], trace) - 1; left >= 0; --left) {
        const tick = span[0] + span[3] - left * slot;
        if (tick >= Math.min(span[1], sheet.last)) {
            break;
        }
        if (tick > sheet.first) {
            const x = xAt(layout, view, tick);
            ctx.moveTo(x, y - 4);
            ctx.lineTo(x, y);
        }
    }
    ctx.strokeStyle = inkOn(sheet, sheet.colors['--phase-backoff']);
    ctx.lineWidth = 0.8;
    ctx.stroke();
}

function drawPhases(sheet, lane, top) {
    const { trace, colors } = sheet;
    eachSpan(sheet, lane.phases, (span) => {
        const [color, wide, narrow] = lookOf(trace, span[2]);
        const isBackoff = trace.phases[span[2]] === 'backoff';
        const slots = String(slotsOf(span[3], trace));
        const retry = span[4] > 0 ? ` r${span[4]}` : '';
        const texts = isBackoff
            ? [`${wide} ${slots}${retry}`, `${wide} ${slots}`, slots]
            : [wide, narrow];
        const y = top + FRAME_ROW;
        drawBlock(
            sheet,
            span[0],
            span[1],
            y,
            STATE_ROW,
            colors[color],
            colors['--muted'],
            SMALL_FONT,
            texts,
        );
        if (isBackoff) {
            drawSlots(sheet, span, y + STATE_ROW);
        }
    });
}

// The widest of the gaps that labels leave between two edges.
function widestGap(labels, left, right) {
    let widest = [left, left];
    let from = left;
    const within = labels.filter((label) => label.right > left && label.x < right);
    for (const { x, right: end } of [...within, { x: right, right }]) {
        widest = x - from > widest[1] - widest[0] ? [from, x] : widest;
        from = Math.max(from, end);
    }
    return widest;
}

function drawNavs(sheet, lane, top, labels) {
    const y = top + FRAME_ROW + STATE_ROW + 1;
    const { colors, layout, view } = sheet;
    eachSpan(sheet, lane.navs, ([begin, end, ticks]) => {
        const texts = [`NAV ${ticks}`, 'NAV'];
        drawBlock(
            sheet,
            begin,
            end,
            y,
            NAV_ROW,
            colors['--nav'],
            colors['--muted'],
            SMALL_FONT,
            [],
        );
        const left = Math.max(xAt(layout, view, begin), layout.left);
        const right = Math.min(xAt(layout, view, end), layout.width);
        const gap = widestGap(labels, left, right);
        drawFitting(sheet, ...gap, y, NAV_ROW, colors['--nav'], SMALL_FONT, texts);
    });
}

// Changes of the queue that are seen: where, and the number of packets where there is room.
function queueLabels(sheet, lane) {
    const { ctx, layout, view } = sheet;
    const labels = [];
    let freeFrom = layout.left;
    const isSeen = (step) => step[0] >= sheet.first && step[0] > sheet.trace.from;
    for (let i = firstPlace(lane.queue, isSeen); i < lane.queue.length; ++i) {
        const [tick, packets] = lane.queue[i];
        if (tick >= sheet.last) {
            break;
        }
        const x = xAt(layout, view, tick);
        const text = x >= freeFrom ? `q${packets}` : '';
        const right = text === '' ? x + 1 : x + 6 + widthOf(ctx, SMALL_FONT, text);
        labels.push({ x, right, text });
        freeFrom = Math.max(freeFrom, right);
    }
    return labels;
}

function drawQueue(sheet, top, labels) {
    const { ctx, colors } = sheet;
    const y = top + FRAME_ROW + STATE_ROW + 1;
    for (const { x, text } of labels) {
        ctx.fillStyle = colors['--ink'];
        ctx.fillRect(x, y, 1, NAV_ROW);
        if (text !== '') {
            haloText(sheet, text, x + 3, y + NAV_ROW - 2, SMALL_FONT, '--ink');
        }
    }
}

function haloText(sheet, text, x, y, font, color) {
    const { ctx, colors } = sheet;
    ctx.font = font;
    ctx.textAlign = 'left';
    ctx.lineJoin = 'round';
    ctx.lineWidth = 4;
    ctx.strokeStyle = colors['--panel'];
    ctx.strokeText(text, x, y);
    ctx.fillStyle = colors[color];
    ctx.fillText(text, x, y);
}

function frameTexts(trace, frame) {
    const name = trace.frame_names[frame.type];
    const to = frame.receiver < 0 ? '?' : String(frame.receiver);
    const retry = frame.retry > 0 ? ` r${frame.retry}` : '';
    const packet = frame.seq < 0 ? '' : `, packet ${frame.seq}`;
    return [`${name} to ${to}${packet}${retry}`, `${name} to ${to}${retry}`, `${name}→${to}`, to];
}

function drawFrames(sheet, station, top) {
    const { trace, colors, layout, view } = sheet;
    const spans = sheet.lanes[station].frames;
    const end = (place) => trace.frames[place].end ?? trace.until;
    for (let i = firstPlace(spans, (place) => end(place) > sheet.first); i < spans.length; ++i) {
        const frame = trace.frames[spans[i]];
        if (frame.begin >= sheet.last) {
            return;
        }
        const color = colors[FRAME_COLORS[frame.type]];
        drawBlock(
            sheet,
            frame.begin,
            end(spans[i]),
            top,
            FRAME_ROW,
            color,
            colors['--ink'],
            FONT,
            frameTexts(trace, frame),
        );
        if (spans[i] === sheet.selected) {
            const x = xAt(layout, view, frame.begin);
            sheet.ctx.strokeStyle = colors['--accent'];
            sheet.ctx.lineWidth = 3;
            const width = Math.max((end(spans[i]) - frame.begin) * view.scale, 3);
            sheet.ctx.strokeRect(x, top, width, FRAME_ROW);
        }
    }
}

function drawOverlaps(sheet, lane, top) {
    const { ctx, layout, view, colors } = sheet;
    const height = FRAME_ROW - 4;
    eachSpan(sheet, lane.overlaps, ([begin, end]) => {
        const x = Math.max(xAt(layout, view, begin), layout.left);
        const right = Math.max(Math.min(xAt(layout, view, end), layout.width), x + 1);
        ctx.save();
        ctx.beginPath();
        ctx.rect(x, top + 2, right - x, height);
        ctx.clip();
        ctx.beginPath();
        for (let at = x - (x % 5) - height; at < right; at += 5) {
            ctx.moveTo(at, top + 2 + height);
            ctx.lineTo(at + height, top + 2);
        }
        ctx.strokeStyle = colors['--alarm'];
        ctx.lineWidth = 1.4;
        ctx.stroke();
        ctx.strokeRect(x, top + 2, right - x, height);
        ctx.restore();
    });
}

// The alarms of a station at one tick, as one text: classes of collisions stand once.
function alarmText(marks) {
    const of = (kind) => marks.filter((mark) => mark[2] === kind).map((mark) => mark[3] ?? '');
    const classes = of('collision').map((detail) => detail.split(' ')[0]);
    const texts = classes.length > 0 ? [['✕', ...new Set(classes)].join(' ')] : [];
    const isDropped = of('drop').length > 0;
    texts.push(...of('timeout').map((detail) => detail || 'time-out'));
    const text = texts.join(', ');
    if (isDropped) {
        return text === '' ? 'dropped' : `${text}: dropped`;
    }
    return of('refused').length > 0 ? [...texts, 'refused'].join(', ') : text;
}

// Where the next frame of a station begins behind a tick.
function nextBegin(sheet, station, tick) {
    const { frames } = sheet.trace;
    const places = sheet.lanes[station].frames;
    const next = places[firstPlace(places, (place) => frames[place].begin > tick)];
    return next === undefined ? Infinity : frames[next].begin;
}

// A red line where something goes wrong, with words in front of the next alarm and the next frame.
function drawAlarms(sheet, station, top) {
    const { ctx, layout, view, colors } = sheet;
    const { alarms } = sheet.lanes[station];
    let freeFrom = -Infinity;
    let i = firstPlace(alarms, (mark) => mark[0] >= sheet.first);
    while (i < alarms.length && alarms[i][0] < sheet.last) {
        const tick = alarms[i][0];
        const next = firstPlace(alarms, (mark) => mark[0] > tick);
        const here = alarms.slice(i, next);
        i = next;
        const x = xAt(layout, view, tick);
        ctx.fillStyle = colors['--alarm'];
        ctx.fillRect(x - 0.75, top - 1, 1.5, FRAME_ROW + 2);
        const end = Math.min(alarms[next]?.[0] ?? Infinity, nextBegin(sheet, station, tick));
        const isHit = here.some((mark) => mark[2] === 'collision');
        const texts = isHit ? [alarmText(here), '✕'] : [alarmText(here)];
        const room = Math.min((end - tick) * view.scale, layout.width - x);
        const text = texts.find((each) => widthOf(ctx, BOLD_FONT, each) + 4 <= room);
        const width = text ? widthOf(ctx, BOLD_FONT, text) + 4 : 0;
        if (text && x >= freeFrom) {
            haloText(sheet, text, x + 2, top + FRAME_ROW - 5, BOLD_FONT, '--alarm');
            freeFrom = x + width;
        }
    }
}

function drawLabel(sheet, station, top) {
    const { ctx, layout, colors, trace } = sheet;
    const lane = trace.lanes[station];
    const tick = Math.max(Math.floor(sheet.first), trace.from);
    const x = layout.isNarrow ? 2 : 8;
    ctx.textAlign = 'left';
    ctx.font = BOLD_FONT;
    ctx.fillStyle = colors['--ink'];
    ctx.fillText(layout.isNarrow ? `stn ${station}` : `station ${station}`, x, top + 13);
    if (tick < trace.until) {
        const queue = valueAt(lane.queue, tick);
        ctx.font = SMALL_FONT;
        ctx.fillStyle = colors['--muted'];
        ctx.fillText(layout.isNarrow ? `q ${queue}` : `queue ${queue}`, x, top + 28);
        ctx.fillText(`CW ${valueAt(lane.window, tick)}`, x, top + 41);
    }
}

function drawAxis(sheet) {
    const { ctx, layout, view, colors } = sheet;
    const { label, mark } = axisSteps(view.scale);
    const isMs = label >= 1000;
    ctx.font = SMALL_FONT;
    ctx.fillStyle = colors['--muted'];
    ctx.textAlign = 'left';
    ctx.fillText(isMs ? 'ms' : layout.isNarrow ? 'us' : 'tick (us)', layout.isNarrow ? 2 : 8, 14);
    ctx.save();
    ctx.beginPath();
    ctx.rect(layout.left, 0, layout.plot, layout.height);
    ctx.clip();
    for (let i = Math.ceil(sheet.first / mark); i * mark <= sheet.last; ++i) {
        const tick = i * mark;
        const x = xAt(layout, view, tick);
        const isLabelled = tick % label === 0;
        ctx.fillStyle = colors['--line'];
        ctx.fillRect(
            x - 0.5,
            AXIS_HEIGHT - (isLabelled ? 8 : 4),
            1,
            isLabelled ? layout.height : 4,
        );
        if (isLabelled) {
            const text = String(isMs ? tick / 1000 : tick);
            const half = widthOf(ctx, SMALL_FONT, text) / 2 + 1;
            ctx.textAlign = 'center';
            ctx.fillStyle = colors['--ink'];
            ctx.fillText(text, Math.min(Math.max(x, layout.left + half), layout.width - half), 14);
        }
    }
    ctx.restore();
}

// A band through all lanes at the selected frame shows what others do meanwhile.
function drawGuides(sheet, cursor) {
    const { ctx, layout, view, colors, trace } = sheet;
    const frame = trace.frames[sheet.selected];
    ctx.fillStyle = colors['--accent'];
    if (frame !== undefined) {
        const x = xAt(layout, view, frame.begin);
        ctx.globalAlpha = 0.12;
        const width = ((frame.end ?? trace.until) - frame.begin) * view.scale;
        ctx.fillRect(x, AXIS_HEIGHT, width, layout.height);
        ctx.globalAlpha = 1;
    }
    if (cursor !== null) {
        ctx.fillRect(xAt(layout, view, cursor) - 0.5, AXIS_HEIGHT - 10, 1.5, layout.height);
    }
}

function drawLane(sheet, station) {
    const top = AXIS_HEIGHT + LANE_HEIGHT * station + 3;
    const { ctx, colors, layout, trace } = sheet;
    ctx.fillStyle = colors['--line'];
    ctx.fillRect(0, top - 3, layout.width, 1);
    drawLabel(sheet, station, top);
    ctx.save();
    ctx.beginPath();
    ctx.rect(layout.left, top - 2, layout.plot, LANE_HEIGHT);
    ctx.clip();
    const lane = trace.lanes[station];
    drawPhases(sheet, lane, top);
    const labels = queueLabels(sheet, lane);
    drawNavs(sheet, lane, top, labels);
    drawQueue(sheet, top, labels);
    drawFrames(sheet, station, top);
    drawOverlaps(sheet, lane, top);
    drawAlarms(sheet, station, top);
    ctx.restore();
}

// Draws a scene {trace, lanes, selected: place or -1, cursor: tick or null} of which the view shows
// a part. What is seen but not loaded stays blank.
export function drawTimeline(ctx, layout, view, scene, colors) {
    const first = view.first;
    const last = first + ticksIn(layout, view);
    const sheet = { ctx, layout, view, colors, first, last, inks: new Map(), ...scene };
    ctx.fillStyle = colors['--panel'];
    ctx.fillRect(0, 0, layout.width, layout.height);
    drawAxis(sheet);
    for (let station = 0; station < scene.trace.lanes.length; ++station) {
        drawLane(sheet, station);
    }
    ctx.save();
    ctx.beginPath();
    ctx.rect(layout.left, 0, layout.plot, layout.height);
    ctx.clip();
    drawGuides(sheet, scene.cursor);
    ctx.restore();
}
