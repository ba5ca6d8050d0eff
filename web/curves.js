// The curves over the offered load: throughput, fairness and delay, and the values under the
// pointer. The one idea: points come in any order, so each line is drawn through the loads there
// are (undefined: not there yet, skipped; null: there, but without a value, a gap).

import uPlot from 'uplot';
import { alphaOf, isShown, showLegend } from './curves_legend.js';
import { corners, FLOW_COLOURS, flowDash, layerOf } from './curves_marks.js';
import { html } from './dom.js';
import { joinFlows } from './experiment.js';
import { pointAt, showNotes, showValues } from './curves_values.js';

const HEIGHT = 240; // pixels of a chart, axes included
const MAX_MARKS = 4000; // in a chart; beyond, and where they would touch, lines alone
const MARK_PIXELS = 9; // of width for each load, that marks need
const STYLES = {
    exact: { width: 1.8, alpha: 1 },
    preview: { width: 1, alpha: 0.5 },
    pinned: { width: 1.3, alpha: 0.85, dash: [6, 5] },
};
const CHARTS = [
    {
        key: 'throughput',
        title: 'Throughput, Mbit/s',
        ofFlow: (flow) => flow.delivered,
        ofAll: (point) => point.total,
        range: (u, low, high) => [0, high > 0 ? high * 1.05 : 1],
    },
    {
        key: 'fairness',
        title: 'Jain’s fairness',
        ofFlow: null,
        ofAll: (point) => point.fairness,
        range: () => [0, 1.02],
    },
    {
        key: 'delay',
        title: 'Mean delay, ms',
        ofFlow: (flow) => (flow.delay_us > 0 ? flow.delay_us / 1000 : null),
        ofAll: null,
        range: (u, low, high) => decades(low, high),
        isLog: true,
    },
];

// Whole powers of ten around the values, for a logarithmic axis.
function decades(low, high) {
    if (!(low > 0)) {
        return [0.1, 100];
    }
    const floor = Math.floor(Math.log10(low));
    return [10 ** floor, 10 ** Math.max(Math.ceil(Math.log10(high)), floor + 1)];
}

// The rows of all charts by ascending load: those of the experiment, and those that only the
// pinned one has (index null).
function rowsOf(loads, pinnedLoads = []) {
    const rows = loads.map((load, index) => ({ load, index, pinnedIndex: null }));
    const byLoad = new Map(rows.map((row) => [row.load, row]));
    pinnedLoads.forEach((load, pinnedIndex) => {
        const row = byLoad.get(load);
        if (row) {
            row.pinnedIndex = pinnedIndex;
        } else {
            rows.push({ load, index: null, pinnedIndex });
        }
    });
    return rows.sort((a, b) => a.load - b.load);
}

// Makes gaps reach to the values around them: what is not there beside a null becomes null.
function widenGaps(values) {
    for (const step of [1, -1]) {
        let isGap = false;
        for (let n = 0, i = step > 0 ? 0 : values.length - 1; n < values.length; n++, i += step) {
            isGap = values[i] === null || (isGap && values[i] === undefined);
            values[i] = isGap ? null : values[i];
        }
    }
    return values;
}

function valueAt(curves, chart, line, row) {
    if (line.kind === 'preview' && curves.exact.has(row.index)) {
        return null;
    }
    const point = pointAt(curves, line.kind, row);
    if (point === undefined) {
        return undefined;
    }
    if (line.flow === null) {
        return chart.ofAll(point);
    }
    const flow = point.flows[line.flow];
    return flow === undefined ? null : chart.ofFlow(flow);
}

function chartData(curves, view) {
    const lines = view.lines.map((line) =>
        widenGaps(curves.rows.map((row) => valueAt(curves, view.chart, line, row))),
    );
    return [curves.rows.map((row) => row.load / 1000), ...lines];
}

// What is drawn in a chart, the last on top: {kind, flow}; flow null is the line of all flows, which
// is below the others as it is the one that is easily told from them.
function linesOf(curves, chart) {
    const kinds = { pinned: curves.pinned !== null, preview: curves.isPreviewed, exact: true };
    const drawn = Object.keys(kinds).filter((kind) => kinds[kind]);
    return drawn.flatMap((kind) => {
        const flows = kind === 'pinned' ? curves.pinned.experiment.flows : curves.experiment.flows;
        const lines = chart.ofFlow ? flows.map((_, flow) => ({ kind, flow })) : [];
        return chart.ofAll ? [{ kind, flow: null }, ...lines] : lines;
    });
}

function colourOf(curves, line) {
    return line.flow === null ? curves.colours.ink : curves.colours.flows[line.flow % FLOW_COLOURS];
}

// Lines below others are wider, so that where they coincide each is seen.
function layerIn(curves, line) {
    const { flows } = (line.kind === 'pinned' ? curves.pinned : curves).experiment;
    return layerOf(line.flow, flows.length);
}

function seriesOf(curves, line) {
    const style = STYLES[line.kind];
    const isPinned = line.kind === 'pinned'; // thin, as wide dashes run into each other
    return {
        show: isShown(curves, line),
        scale: 'y',
        stroke: () => colourOf(curves, line),
        width: style.width + (isPinned ? 0 : 0.4 * layerIn(curves, line)),
        alpha: alphaOf(curves, line, style.alpha),
        dash: style.dash ?? (line.flow === null ? undefined : flowDash(line.flow)),
        points: { show: false },
    };
}

// Powers of ten alone have numbers and lines: those between them would crowd.
function logAxis(grid) {
    const isPower = (value) => value !== null && Math.abs(Math.log10(value) % 1) < 1e-9;
    const text = (value) => (value < 1e5 ? String(value) : value.toExponential().replace('+', ''));
    const filter = (u, splits) => splits.map((value) => (isPower(value) ? value : null));
    const values = (u, splits) => splits.map((value) => (isPower(value) ? text(value) : ''));
    return { values, grid: { ...grid, filter }, ticks: { ...grid, filter } };
}

function axes(curves, chart) {
    const common = {
        stroke: () => curves.colours.ink,
        grid: { stroke: () => curves.colours.line, width: 1 },
        ticks: { stroke: () => curves.colours.line, width: 1 },
        font: '12px system-ui, sans-serif',
    };
    const x = {
        ...common,
        label: 'offered load per flow of weight 1, Mbit/s',
        labelFont: '12px system-ui, sans-serif',
        labelSize: 20,
        size: 30,
    };
    return [x, { ...common, ...(chart.isLog ? logAxis(common.grid) : {}), size: 56 }];
}

function xRange(curves) {
    const loads = curves.rows.map((row) => row.load / 1000);
    const [low, high] = [loads[0] ?? 0, loads[loads.length - 1] ?? 1];
    const pad = (high - low) * 0.02 || 0.5;
    return [low - pad, high + pad];
}

function options(curves, view) {
    const { chart } = view;
    return {
        width: view.box.clientWidth || 300,
        height: HEIGHT,
        legend: { show: false },
        padding: [10, 12, 0, 0],
        scales: {
            x: { time: false, range: () => xRange(curves) },
            y: { distr: chart.isLog ? 3 : 1, range: chart.range },
        },
        axes: axes(curves, chart),
        series: [{}, ...view.lines.map((line) => seriesOf(curves, line))],
        cursor: {
            sync: { key: curves.syncKey },
            // A cursor that snaps looks like a drag, which would swallow the click.
            drag: { x: false, y: false, click: () => {} },
            points: { show: false },
            move: snap,
        },
        hooks: {
            drawSeries: [(u, i) => drawMarks(curves, view, u, i)],
            setCursor: [(u) => followCursor(curves, u)],
        },
    };
}

// Loads may share a pixel: the row that is told stays where the cursor stands on it.
function followCursor(curves, u) {
    const row = curves.rows[curves.row];
    const isThere = row && Math.abs(u.valToPos(row.load / 1000, 'x') - u.cursor.left) <= 0.5;
    if (u.cursor.idx !== null && !isThere) {
        pointTo(curves, u.cursor.idx);
    }
}

// The cursor stands on loads only.
function snap(u, left, top) {
    if (left < 0 || u.data[0].length === 0) {
        return [left, top];
    }
    return [u.valToPos(u.data[0][u.posToIdx(left)], 'x'), top];
}

// Whether marks are drawn: only few enough to be told apart.
function hasMarks(curves, view, times) {
    const loads = Math.max(curves.exact.size, curves.preview.size, curves.pinnedPoints.size);
    const width = view.box.clientWidth || 300;
    return loads * view.lines.length <= MAX_MARKS && loads * MARK_PIXELS * times <= width;
}

function drawMarks(curves, view, u, series) {
    const line = view.lines[series - 1];
    const hasMarks = line?.kind === 'pinned' ? view.pinnedMarks : view.marks;
    if (!hasMarks || line === undefined || curves.isStale || !isShown(curves, line)) {
        return;
    }
    const ratio = devicePixelRatio;
    const radius = line.kind === 'exact' ? 3.6 + 0.6 * layerIn(curves, line) : 3;
    const shape = corners(line.flow ?? 0, radius * ratio);
    const { ctx } = u;
    ctx.save();
    ctx.globalAlpha = alphaOf(curves, line, STYLES[line.kind].alpha);
    ctx.strokeStyle = colourOf(curves, line);
    ctx.lineWidth = 1.3 * ratio;
    ctx.setLineDash([]);
    u.data[series].forEach((value, i) => {
        const point = curves.rows[i] && pointAt(curves, line.kind, curves.rows[i]);
        if (value === null || value === undefined || point === undefined) {
            return; // no point: it has been cleared, and the next frame draws what is there
        }
        const isHollow = line.flow !== null && point.flows[line.flow].steady === false;
        ctx.fillStyle = isHollow ? curves.colours.panel : ctx.strokeStyle;
        const [x, y] = [u.valToPos(u.data[0][i], 'x', true), u.valToPos(value, 'y', true)];
        ctx.beginPath();
        shape.forEach(([dx, dy]) => ctx.lineTo(x + dx, y + dy));
        ctx.closePath();
        ctx.fill();
        ctx.stroke();
    });
    ctx.restore();
}

function readColours(root) {
    const style = getComputedStyle(root);
    const read = (name) => style.getPropertyValue(`--${name}`).trim() || 'gray';
    return {
        ink: read('ink'),
        line: read('line'),
        panel: read('panel'),
        flows: Array.from({ length: FLOW_COLOURS }, (_, k) => read(`flow-${k}`)),
    };
}

// Draws in the next frame, however often it is asked for until then.
function schedule(curves, isRebuilt = false) {
    curves.isStale ||= isRebuilt;
    curves.frame ||= requestAnimationFrame(() => {
        curves.frame = 0;
        draw(curves);
    });
}

function draw(curves) {
    curves.colours = readColours(curves.root);
    if (curves.experiment === null) {
        return;
    }
    const isPreviewed = [...curves.preview.keys()].some((index) => !curves.exact.has(index));
    if (curves.isStale || isPreviewed !== curves.isPreviewed) {
        curves.isPreviewed = isPreviewed;
        rebuild(curves);
    }
    for (const view of curves.views) {
        const width = view.box.clientWidth;
        if (width > 0 && width !== view.plot.width) {
            view.plot.setSize({ width, height: HEIGHT });
        }
        view.marks = hasMarks(curves, view, 1);
        view.pinnedMarks = hasMarks(curves, view, 3); // sparser, as marks would cover the dashes
        view.plot.setData(chartData(curves, view));
    }
    showNotes(curves);
    showValues(curves);
    showCursor(curves);
}

function rebuild(curves) {
    curves.isStale = false;
    const loads = curves.experiment.loads_kbps;
    const chosen = curves.rows[curves.row];
    curves.rows = rowsOf(loads, curves.pinned?.experiment.loads_kbps);
    const row = curves.rows.findIndex((other) => other.load === chosen?.load);
    curves.row = row < 0 ? curves.rows.length - 1 : row; // so that there are values at once
    for (const view of curves.views) {
        view.plot?.destroy();
        view.lines = linesOf(curves, view.chart);
        view.plot = new uPlot(options(curves, view), chartData(curves, view), view.box);
        view.box.setAttribute('aria-valuemax', Math.max(curves.rows.length - 1, 0));
        view.plot.over.addEventListener('click', () => chooseLoad(curves, view.plot.cursor.idx));
    }
}

function chooseLoad(curves, row) {
    const index = curves.rows[row]?.index ?? null; // null: of the pinned experiment alone
    if (index !== null) {
        curves.actions.chooseLoad(index);
    }
}

// Makes `row` the one whose values are told; the cursors of the other charts follow by themselves.
function pointTo(curves, row) {
    if (row !== curves.row) {
        curves.row = row;
        schedule(curves);
    }
}

function showCursor(curves) {
    for (const { plot, box } of curves.views) {
        const row = curves.rows[curves.row];
        box.setAttribute('aria-valuenow', curves.row ?? 0);
        box.setAttribute('aria-valuetext', curves.caption.textContent);
        const left = row ? plot.valToPos(row.load / 1000, 'x') : -10;
        if (Math.abs(left - plot.cursor.left) > 0.5) {
            plot.setCursor({ left, top: row ? Math.max(plot.cursor.top, 0) : -10 }, false);
        }
    }
}

function pressKey(curves, event) {
    const last = curves.rows.length - 1;
    const row = curves.row;
    const to = {
        ArrowLeft: row === null ? last : row - 1,
        ArrowRight: row === null ? 0 : row + 1,
        Home: 0,
        End: last,
    }[event.key];
    if (event.ctrlKey || event.altKey || event.metaKey || last < 0) {
        return;
    }
    if (to !== undefined) {
        pointTo(curves, Math.min(Math.max(to, 0), last));
        event.preventDefault();
    } else if (event.key === 'Enter' || event.key === ' ') {
        chooseLoad(curves, row);
        event.preventDefault();
    }
}

function makeView(curves, chart) {
    const box = html('div', {
        class: 'curves-chart',
        'data-testid': `curves-${chart.key}`,
        tabindex: 0,
        role: 'slider',
        'aria-label': `${chart.title}, by offered load`,
        'aria-valuemin': 0,
    });
    box.addEventListener('keydown', (event) => pressKey(curves, event));
    const figure = html('div', { class: 'curves-figure' }, html('h3', {}, chart.title), box);
    curves.charts.append(figure);
    return { chart, box, plot: null, lines: [], marks: true, pinnedMarks: true };
}

function build(curves) {
    const columns = ['flow', 'offered, Mbit/s', 'delivered, Mbit/s', 'mean delay, µs', 'state'];
    const titles = columns.map((text) => html('th', { scope: 'col' }, text));
    curves.legend = html('div', {
        class: 'curves-legend',
        role: 'group',
        'aria-label': 'Flows shown',
    });
    curves.notes = html(
        'p',
        { class: 'curves-notes', 'data-testid': 'curves-notes' },
        'No point yet.',
    );
    curves.charts = html('div', { class: 'curves-charts' });
    curves.caption = html('p');
    curves.head = html('thead', { hidden: '' }, html('tr', {}, ...titles));
    curves.body = html('tbody');
    const table = html('table', {}, curves.head, curves.body);
    const scrolled = html(
        'div',
        { class: 'curves-table', tabindex: 0, role: 'region', 'aria-label': 'Values by flow' },
        table,
    );
    curves.root.classList.add('curves');
    curves.root.replaceChildren(
        curves.legend,
        curves.notes,
        curves.charts,
        html('div', { 'data-testid': 'curves-values' }, curves.caption, scrolled),
    );
    curves.views = CHARTS.map((chart) => makeView(curves, chart));
}

let made = 0;

function newCurves(root, actions) {
    made += 1;
    return {
        root,
        actions,
        syncKey: `curves-${made}`,
        styleOf: (line) => STYLES[line.kind],
        legendNames: '',
        experiment: null,
        exact: new Map(), // points by index of load
        preview: new Map(),
        pinned: null,
        pinnedPoints: new Map(),
        rows: [],
        row: null, // under the pointer, or last there
        hidden: new Set(), // flows by number, and 'all'
        raised: null, // a flow or 'all', beside which others are pale
        colours: null,
        frame: 0,
        isStale: false, // the lines are no longer those to be drawn
        isPreviewed: false,
    };
}

function clear(curves) {
    curves.exact.clear();
    curves.preview.clear();
    schedule(curves);
}

function exactPoints(curves) {
    return [...curves.exact.values()].sort((a, b) => a.load_kbps - b.load_kbps);
}

function setExperiment(curves, experiment) {
    const names = (flows) => flows?.map((flow) => `${flow.from} ${flow.to}`).join();
    const flows = joinFlows(experiment.flows);
    const isSame = names(curves.experiment?.flows) === names(flows);
    curves.experiment = { ...structuredClone(experiment), flows };
    curves.raised = null;
    clear(curves);
    if (!isSame) {
        curves.hidden.clear();
    }
    showLegend(curves);
    schedule(curves, true);
}

function setPoint(curves, point, stage) {
    curves[stage === 'exact' ? 'exact' : 'preview'].set(point.index, point);
    schedule(curves);
}

function pin(curves, name) {
    const { experiment } = curves;
    const isPinned = name !== null && experiment !== null;
    const points = isPinned ? structuredClone(exactPoints(curves)) : [];
    curves.pinned = isPinned ? { name, experiment: structuredClone(experiment), points } : null;
    curves.pinnedPoints = new Map(points.map((point) => [point.index, point]));
    schedule(curves, true);
}

// Makes the charts inside `root`. Loads are in kbit/s, points as the engine gives them; stage is
// 'preview' or 'exact'. actions.chooseLoad(index into loads_kbps) is called for a chosen load.
export function createCurves(root, actions) {
    const curves = newCurves(root, actions);
    build(curves);
    new ResizeObserver(() => schedule(curves)).observe(curves.charts);
    return {
        setExperiment: (experiment) => setExperiment(curves, experiment),
        setPoint: (point, stage) => setPoint(curves, point, stage),
        pin: (name) => pin(curves, name),
        pinned: () => curves.pinned,
        points: () => exactPoints(curves),
        redraw: () => schedule(curves),
    };
}
