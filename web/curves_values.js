// The words and the table beside the curves: numbers are told in full, as they came.

import { sample } from './curves_marks.js';
import { html } from './dom.js';

export function flowName(flow) {
    const weight = (flow.weight ?? 1) === 1 ? '' : `, weight ${flow.weight}`;
    return `${flow.from} to ${flow.to}${weight}`;
}

// The point that a line of `kind` has in a row: undefined if none came yet. A preview hides as
// soon as the exact point is there.
export function pointAt(curves, kind, row) {
    if (kind === 'pinned') {
        return row.pinnedIndex === null ? undefined : curves.pinnedPoints.get(row.pinnedIndex);
    }
    return row.index === null ? undefined : curves[kind].get(row.index);
}

export function showNotes(curves) {
    const notes = [];
    if (curves.exact.size === 0) {
        notes.push(curves.isPreviewed ? 'Only a preview so far.' : 'No point yet.');
    }
    if (curves.isPreviewed) {
        notes.push('Thin and pale: a shorter run with other random numbers.');
    }
    if (curves.pinned !== null) {
        notes.push(`Dashed: ${curves.pinned.name}.`);
    }
    const isHollow = (point) => point.flows.some((flow) => !flow.steady);
    if (curves.views[0].marks && [...curves.exact.values()].some(isHollow)) {
        notes.push('Hollow: no steady state.');
    }
    curves.notes.textContent = notes.join(' ');
    curves.notes.classList.toggle('curves-sketched', curves.isPreviewed);
}

// The table of values: numbers as they came, in full.
export function showValues(curves) {
    const row = curves.rows[curves.row];
    if (row === undefined) {
        curves.caption.textContent = '';
        curves.head.hidden = true;
        curves.body.replaceChildren();
        return;
    }
    const kind = curves.exact.has(row.index) ? 'exact' : 'preview';
    const point = pointAt(curves, kind, row);
    const pinned = curves.pinned === null ? undefined : pointAt(curves, 'pinned', row);
    const told = [`Load ${row.load / 1000} Mbit/s: ${pointInWords(curves, kind, point)}`];
    if (pinned) {
        told.push(`${curves.pinned.name}: ${totals(pinned)}`);
    }
    curves.caption.textContent = `${told.join('. ')}.`;
    curves.head.hidden = false;
    curves.body.replaceChildren(
        ...valueRows(curves.experiment.flows, point, ''),
        ...(pinned ? valueRows(curves.pinned.experiment.flows, pinned, curves.pinned.name) : []),
    );
}

function pointInWords(curves, kind, point) {
    if (!point) {
        return 'no point yet';
    }
    const source =
        kind === 'preview'
            ? 'preview, a shorter run with other random numbers'
            : `mean of ${point.trials} of ${curves.experiment.trials} trials`;
    return `${source}, ${totals(point)}`;
}

function totals(point) {
    return `total ${point.total} Mbit/s, Jain’s fairness ${point.fairness ?? 'none'}`;
}

function cellsOf(flow) {
    const delay = flow.delay_us === null ? 'none' : String(flow.delay_us);
    const state = flow.steady ? 'steady' : 'no steady state';
    return [String(flow.offered), String(flow.delivered), delay, state];
}

function valueRows(flows, point, name) {
    // A row for each flow, told or not: what stands below would jump up and down otherwise.
    return flows.map((ends, k) => {
        const who = flowName(ends);
        const cells = point === undefined ? ['–', '–', '–', '–'] : cellsOf(point.flows[k]);
        const title = html('th', { scope: 'row' }, sample(k), name ? `${name}: ${who}` : who);
        return html('tr', {}, title, ...cells.map((text) => html('td', {}, text)));
    });
}
