// The side panel: every key of an experiment file as a field, with what the schema tells of it.
// What may stand in a field is judged by the simulator alone, whose message then stands below it.
import { html } from './dom.js';

const schema = JSON.parse(document.getElementById('schema').textContent);

// A number as it is written; anything else stays a text, which the simulator refuses.
function readNumber(text) {
    const digits = text.trim();
    if (/^-?\d+$/.test(digits)) {
        const number = Number(digits);
        return Number.isSafeInteger(number) ? number : BigInt(digits);
    }
    return digits !== '' && Number.isFinite(Number(digits)) ? Number(digits) : text;
}

function readList(text) {
    return text
        .split(/[\s,;]+/)
        .filter((word) => word !== '')
        .map(readNumber);
}

// "0, 1000, .., 35000" for 0, 1000, 2000 and so on.
function readLoads(text) {
    const SEVERAL = /^\s*(\d+)[\s,]+(\d+)[\s,]+\.{2,3}[\s,]*(\d+)\s*$/;
    const LIMIT = 1001; // one more than are allowed, so that the simulator tells what is
    const match = SEVERAL.exec(text);
    if (match === null) {
        return readList(text);
    }
    const [first, second, last] = match.slice(1).map(Number);
    const step = second - first;
    if (step <= 0 || last < second) {
        return readList(text);
    }
    const number = Math.min(Math.floor((last - first) / step) + 1, LIMIT);
    return Array.from({ length: number }, (_, i) => first + i * step);
}

function writeLoads(loads) {
    const step = loads[1] - loads[0];
    const isEven = loads.every((load, i) => load === loads[0] + i * step);
    return loads.length > 4 && isEven
        ? `${loads[0]}, ${loads[1]}, .., ${loads.at(-1)}`
        : loads.join(', ');
}

function rowsText(rows) {
    return rows.map((row) => row.join(' ')).join('\n');
}

function readRows(text) {
    return text
        .split('\n')
        .map(readList)
        .filter((row) => row.length > 0);
}

const SINGLE = { write: String, read: readNumber };
const LIST = { write: (list) => list.join(', '), read: readList };
const FIELDS = [
    ['title', 'Title', { write: String, read: (text) => text }],
    [
        'loads_kbps',
        'Offered loads of a flow of weight 1, kbit/s',
        { write: writeLoads, read: readLoads },
    ],
    ['trials', 'Trials', SINGLE],
    ['seed', 'Seed', SINGLE],
    ['data_bytes', 'Packet: bytes of data', SINGLE],
    ['transmission_range_m', 'Transmission range, m', SINGLE],
    ['carrier_sense_range_m', 'Carrier sense range, m', SINGLE],
    ['rts_threshold', 'RTS threshold, us', SINGLE],
    ['queue_limit', 'Queue, packets', SINGLE],
    ['ticks', 'Length of a load point, us', SINGLE],
    ['window', 'Measurement window: first and last us', LIST],
    ['log_limit', 'Log of received frames', SINGLE],
    ['hop_age_limit', 'Age limit of hop delays, us', SINGLE],
];
const CHOICES = [
    ['generator', 'Random numbers', { 'lcg-16807': 'published', 'mt19937-64': 'Mersenne Twister' }],
    ['stations_m', 'Stations', { pairs: 'five pairs', chain: 'chain', '': 'places of your own' }],
    [
        'routes',
        'Routes',
        { pairs: 'within pairs', chain: 'chain', neighbours: 'to all neighbours', '': 'rows' },
    ],
];

// What is allowed, as far as two numbers tell it; the largest there are tell nothing.
function limitsOf(key) {
    const { minimum, maximum } = schema.properties[key];
    if (minimum === undefined) {
        return '';
    }
    const isOpen = maximum === undefined || !Number.isSafeInteger(maximum);
    return isOpen ? `${minimum} or more` : `${minimum} .. ${maximum}`;
}

class Panel {
    constructor(root, actions) {
        this.actions = actions;
        this.experiment = {};
        this.edits = {}; // by key: changed since the last experiment that was taken
        this.fields = new Map(); // by key: what shows its value
        this.errors = new Map(); // by key: where a message stands
        this.shown = new WeakMap(); // by control: the text that was shown, or changed to
        this.form = html('form', { 'aria-label': 'Experiment', autocomplete: 'off' });
        this.form.addEventListener('submit', (event) => event.preventDefault());
        this.addExplainer();
        for (const [key, label, form] of FIELDS) {
            this.addField(key, label, form);
        }
        for (const [key, label, names] of CHOICES) {
            this.addChoice(key, label, names);
        }
        this.addRows('stations_m', 'Places, a line each: x y, in m');
        this.addRows('routes', 'Rows: station, destination, next hop');
        this.addFlows();
        root.append(this.form);
    }

    // What the keys mean is shown for all at once: a pointer can hover for it, fingers cannot.
    addExplainer() {
        const button = html(
            'button',
            { type: 'button', 'aria-pressed': 'false', 'data-testid': 'panel-explain' },
            'Explain the fields',
        );
        button.addEventListener('click', () => {
            const isOn = this.form.classList.toggle('explained');
            button.setAttribute('aria-pressed', String(isOn));
        });
        this.form.append(button);
    }

    describe(key, control, id = `panel-${key}`) {
        control.id = id;
        control.dataset.testid = id;
        control.title = schema.properties[key].description;
        control.setAttribute('aria-describedby', `panel-error-${key} panel-about-${key}`);
    }

    // What tells of a key, and where a message to it stands.
    notesOf(key) {
        const { description } = schema.properties[key];
        const about = html('p', { class: 'about', id: `panel-about-${key}` }, description);
        const error = html('p', { class: 'error', id: `panel-error-${key}`, role: 'alert' });
        this.errors.set(key, error);
        return [about, error];
    }

    // Shows a text, but not over one that is being typed.
    showText(control, text) {
        const isTyped =
            control === document.activeElement &&
            this.shown.has(control) &&
            control.value !== this.shown.get(control);
        if (!isTyped) {
            control.value = text;
            this.shown.set(control, text);
        }
    }

    onChange(control, work) {
        control.addEventListener('change', () => {
            this.shown.set(control, control.value);
            work(control.value);
        });
    }

    addTo(key, label, control) {
        const hint = html('small', {}, limitsOf(key));
        const line = html('label', { for: control.id }, label, ' ', hint);
        const holder = html('div', { class: 'field' }, line, control);
        this.form.append(holder);
        if (!this.errors.has(key)) {
            holder.append(...this.notesOf(key));
        }
        return holder;
    }

    addField(key, label, form) {
        const input = html('input', { type: 'text', spellcheck: 'false' });
        this.describe(key, input);
        this.onChange(input, (text) => this.change(key, form.read(text)));
        this.fields.set(key, (value) => {
            this.showText(input, value === undefined ? '' : form.write(value));
        });
        this.addTo(key, label, input);
    }

    addChoice(key, label, names) {
        const select = html('select');
        for (const [value, text] of Object.entries(names)) {
            select.append(html('option', { value }, text));
        }
        this.describe(key, select);
        select.addEventListener('change', () => {
            this.change(key, select.value === '' ? this.actions.listOf(key) : select.value);
        });
        this.fields.set(key, (value) => {
            select.value = typeof value === 'string' ? value : '';
        });
        this.addTo(key, label, select);
    }

    // The list behind a choice, shown where it is chosen.
    addRows(key, label) {
        const area = html('textarea', { rows: 5, spellcheck: 'false' });
        this.describe(key, area, `panel-${key}-rows`);
        this.onChange(area, (text) => this.change(key, readRows(text)));
        const holder = this.addTo(key, label, area);
        const showChoice = this.fields.get(key);
        this.fields.set(key, (value) => {
            showChoice(value);
            holder.hidden = typeof value === 'string';
            this.showText(area, typeof value === 'string' ? '' : rowsText(value));
        });
    }

    addFlows() {
        const titles = ['from', 'to', 'weight'].map((text) => html('th', { scope: 'col' }, text));
        this.flowBody = html('tbody');
        this.flowAdder = html(
            'button',
            { type: 'button', 'data-testid': 'panel-add-flow' },
            'Add a flow',
        );
        this.flowAdder.addEventListener('click', () => {
            this.changeFlows([...this.flows(), { from: 0, to: 1, weight: 1 }]);
            this.flowBody.lastElementChild.querySelector('input').focus();
        });
        const caption = html('caption', {}, 'Flows: from station to station, weight 1 .. 100');
        const table = html(
            'table',
            {},
            caption,
            html('thead', {}, html('tr', {}, ...titles, html('td'))),
            this.flowBody,
        );
        const notes = this.notesOf('flows');
        const rows = html('div', { class: 'flow-rows' }, table);
        this.form.append(html('div', { class: 'field' }, rows, this.flowAdder, ...notes));
        this.fields.set('flows', (flows) => this.showFlows(flows));
    }

    flows() {
        return this.edits.flows ?? this.experiment.flows ?? [];
    }

    // Rows are kept where they can be, as one that is taken out loses the focus.
    showFlows(flows) {
        const { rows } = this.flowBody;
        while (rows.length > flows.length) {
            this.flowBody.lastElementChild.remove();
        }
        while (rows.length < flows.length) {
            this.flowBody.append(this.flowRow(rows.length));
        }
        flows.forEach((flow, k) => {
            for (const input of rows[k].querySelectorAll('input')) {
                this.showText(input, String(flow[input.name]));
            }
        });
    }

    changeFlows(flows) {
        this.showFlows(flows);
        this.change('flows', flows);
    }

    flowRow(k) {
        const cells = ['from', 'to', 'weight'].map((key) => {
            const input = html('input', {
                type: 'text',
                name: key,
                inputmode: 'numeric',
                'aria-label': `flow ${k + 1}: ${key}`,
                'aria-describedby': 'panel-error-flows panel-about-flows',
                'data-testid': `panel-flow-${k}-${key}`,
            });
            this.onChange(input, (text) => {
                const flows = this.flows();
                this.change('flows', flows.with(k, { ...flows[k], [key]: readNumber(text) }));
            });
            return html('td', {}, input);
        });
        const remove = html(
            'button',
            { type: 'button', 'aria-label': `remove flow ${k + 1}` },
            '×',
        );
        remove.addEventListener('click', () => {
            this.changeFlows(this.flows().toSpliced(k, 1));
            const next = this.flowBody.rows[k] ?? this.flowBody.lastElementChild;
            (next?.querySelector('button') ?? this.flowAdder).focus();
        });
        return html('tr', {}, ...cells, html('td', {}, remove));
    }

    // Asks for all that has been changed since the last experiment was taken: answers take a while,
    // and what was refused still stands in its field.
    change(key, value) {
        this.edits[key] = value;
        const next = { ...this.experiment, ...this.edits };
        if (next.title?.trim() === '') {
            delete next.title;
        }
        this.actions.change(next, key);
    }

    // Shows an experiment, with all keys filled in; messages go.
    show(experiment) {
        this.experiment = experiment;
        this.edits = {};
        for (const [key, show] of this.fields) {
            show(experiment[key]);
        }
        this.clearErrors();
    }

    clearErrors() {
        for (const error of this.errors.values()) {
            error.textContent = '';
        }
        for (const control of this.form.querySelectorAll('[aria-invalid]')) {
            control.removeAttribute('aria-invalid');
        }
    }

    // Puts a message below the field of a key; what stands in the field stays, to be mended.
    refuse(key, message) {
        const error = this.errors.get(key);
        if (error !== undefined) {
            this.clearErrors();
            error.textContent = message;
            document.getElementById(`panel-${key}`)?.setAttribute('aria-invalid', 'true');
        }
        return error !== undefined;
    }
}

// Makes the panel in `root`. `actions.change(experiment, key)` is called with what a field has been
// changed to, unjudged; `actions.listOf(key)` gives the list that a choice of a name stands for.
export function createPanel(root, actions) {
    const panel = new Panel(root, actions);
    return {
        show: (experiment) => panel.show(experiment),
        refuse: (key, message) => panel.refuse(key, message),
    };
}
