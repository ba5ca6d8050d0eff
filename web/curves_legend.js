// The legend of the curves: which flows are drawn, and which one is looked at.
import { sample } from './curves_marks.js';
import { flowName } from './curves_values.js';
import { html } from './dom.js';

const PALE = 0.15; // of the lines beside the one that is looked at

const keyOf = (line) => line.flow ?? 'all';

export function isShown(curves, line) {
    return !curves.hidden.has(keyOf(line));
}

export function alphaOf(curves, line, alpha) {
    const isRaised = curves.raised === null || curves.raised === keyOf(line);
    return isRaised ? alpha : PALE * alpha;
}

// Where lines are about to be made anew, those there are are left alone.
function eachLine(curves, work) {
    if (curves.isStale) {
        return;
    }
    for (const { plot, lines } of curves.views) {
        lines.forEach((line, i) => plot && work(line, plot, i + 1));
    }
}

// Makes the lines of all others pale, for as long as the pointer or the focus is on a flow.
function raise(curves, key) {
    if (key === curves.raised) {
        return;
    }
    const own = (line) => curves.styleOf(line).alpha;
    curves.raised = curves.hidden.has(key) ? null : key;
    eachLine(curves, (line, plot, i) => {
        plot.series[i].alpha = alphaOf(curves, line, own(line));
    });
    if (!curves.isStale) {
        curves.views.forEach(({ plot }) => plot?.redraw(false));
    }
}

function toggle(curves, key, button) {
    if (!curves.hidden.delete(key)) {
        curves.hidden.add(key);
    }
    raise(curves, null);
    button.setAttribute('aria-pressed', String(!curves.hidden.has(key)));
    eachLine(curves, (line, plot, i) => {
        if (keyOf(line) === key) {
            plot.setSeries(i, { show: isShown(curves, line) });
        }
    });
}

function entry(curves, key, name) {
    const button = html('button', { type: 'button', 'data-testid': `curves-flow-${key}` });
    button.append(sample(key === 'all' ? null : key), name);
    button.title = 'Point at it to tell it from the others, press to hide or show it';
    button.setAttribute('aria-pressed', String(!curves.hidden.has(key)));
    button.addEventListener('click', () => toggle(curves, key, button));
    // Fingers leave nothing: a flow that they raised would stay so.
    button.addEventListener('pointerenter', ({ pointerType }) => {
        if (pointerType === 'mouse') {
            raise(curves, key);
        }
    });
    button.addEventListener('pointerleave', () => raise(curves, null));
    button.addEventListener('focus', () => button.matches(':focus-visible') && raise(curves, key));
    button.addEventListener('blur', () => raise(curves, null));
    return button;
}

// Entries stay where they are the same, as one that is taken out loses the focus.
export function showLegend(curves) {
    const { flows } = curves.experiment;
    const names = [...flows.map(flowName), 'all flows'];
    if (names.join() !== curves.legendNames) {
        curves.legendNames = names.join();
        const keys = [...flows.keys(), 'all'];
        curves.legend.replaceChildren(...keys.map((key, i) => entry(curves, key, names[i])));
    }
}
