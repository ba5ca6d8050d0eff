// The controls of a timeline, its canvas, story and legend, as elements of the page.
import { html } from './dom.js';

const KEYS =
    'Timeline of all stations. Left and right arrows scroll, plus and minus zoom, Home and End go ' +
    'to the ends, [ and ] choose the previous and the next frame, Escape chooses none.';
const LEGEND = [
    ['rts', 'RTS'],
    ['cts', 'CTS'],
    ['data', 'DATA'],
    ['ack', 'ACK'],
    ['idle', 'idle'],
    ['sifs', 'SIFS before an answer'],
    ['receive', 'receives DATA'],
    ['await', 'awaits an answer'],
    ['defer', 'packet waits: carrier or NAV'],
    ['difs', 'DIFS'],
    ['eifs', 'EIFS'],
    ['backoff', 'backoff, by slots'],
    ['nav', 'NAV'],
    ['overlap', 'signals overlap'],
    ['alarm', 'collision, at the receiver; red words: what else goes wrong'],
    ['text', 'con: the two senders sense each other'],
    [
        'text',
        'hid: they do not; phy, pro, hcon: the other frame began later, earlier, in the same tick',
    ],
    ['text', 'q5: 5 packets queued; r1: retry 1; CW: contention window'],
];

const tagged = (name) => ({ 'data-testid': `timeline-${name}` });
const button = (name, text, label = text) =>
    html('button', { type: 'button', 'aria-label': label, title: label, ...tagged(name) }, text);

function buildForm() {
    const load = html('select', tagged('load'));
    const trial = html('select', tagged('trial'));
    const from = html('input', { type: 'number', min: 0, value: 0, step: 1, ...tagged('from') });
    const show = html('button', { type: 'submit', ...tagged('show') }, 'Show');
    const form = html(
        'form',
        { class: 'timeline-row', 'aria-label': 'What is shown' },
        html('label', {}, 'Load ', load),
        html('label', {}, 'Trial ', trial),
        html('label', {}, 'From tick ', from),
        show,
    );
    return { form, load, trial, from };
}

function buildButtons() {
    const buttons = {
        collision: button('next-collision', 'Next collision'),
        drop: button('next-drop', 'Next drop'),
        timeout: button('next-timeout', 'Next time-out'),
        previous: button('previous', '‹ Frame', 'Previous frame'),
        next: button('next', 'Frame ›', 'Next frame'),
        zoomOut: button('zoom-out', '−', 'Zoom out'),
        zoomIn: button('zoom-in', '+', 'Zoom in'),
    };
    const row = html('div', { class: 'timeline-row' }, ...Object.values(buttons));
    return { ...buttons, row };
}

function buildLegend() {
    const items = LEGEND.map(([kind, text]) => {
        const swatch = html('span', {
            class: `timeline-swatch timeline-swatch-${kind}`,
            'aria-hidden': 'true',
        });
        if (kind === 'alarm') {
            swatch.append('✕');
        }
        return html('li', {}, ...(kind === 'text' ? [text] : [swatch, text]));
    });
    return html('ul', { class: 'timeline-legend', 'aria-label': 'Legend' }, ...items);
}

export function build(root) {
    const controls = { ...buildForm(), ...buildButtons() };
    const { form, row } = controls;
    const stop = button('stop', 'Stop');
    const busyText = html('span');
    const busy = html('p', { class: 'timeline-busy', role: 'status' }, busyText, stop);
    busy.hidden = true;
    const status = html('p', { class: 'timeline-note', role: 'status', ...tagged('status') });
    const canvas = html('canvas', {
        class: 'timeline-canvas',
        tabindex: 0,
        role: 'application',
        'aria-label': KEYS,
        ...tagged('canvas'),
    });
    const story = html('section', {
        class: 'timeline-story',
        role: 'region',
        'aria-label': 'Story of what is chosen',
        'aria-live': 'polite',
        ...tagged('story'),
    });
    root.classList.add('timeline');
    // In a line of their own height, whatever is told: else the drawing would jump.
    const told = html('div', { class: 'timeline-told' }, busy, status);
    root.replaceChildren(form, row, told, canvas, story, buildLegend());
    return { ...controls, stop, busy, busyText, status, canvas, story };
}

export function fillSelect(select, texts, chosen) {
    const options = texts.map((text, i) => html('option', { value: i }, text));
    select.replaceChildren(...options);
    select.value = String(Math.max(Math.min(chosen, texts.length - 1), 0));
}

// Gives the canvas as many pixels as the screen has for a layout.
export function sizeCanvas(canvas, layout) {
    const ratio = window.devicePixelRatio || 1;
    const width = Math.round(layout.width * ratio);
    const height = Math.round(layout.height * ratio);
    canvas.style.height = `${layout.height}px`;
    if (canvas.width !== width || canvas.height !== height) {
        canvas.width = width;
        canvas.height = height;
    }
    canvas.getContext('2d').setTransform(ratio, 0, 0, ratio, 0, 0);
}
