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
export function readLoads(text) {
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

export function writeLoads(loads) {
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
        this.fields = new Map(); // by key: the control
        this.errors = new Map(); // by key: where a message stands
        this.form = html('form', { 'aria-label': 'Experiment', autocomplete: 'off' });
        this.form.addEventListener('submit', (event) => event.preventDefault());
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

    describe(key, control, id = `panel-${key}`) {
        const text = schema.properties[key].description;
        control.id = id;
        control.dataset.testid = id;
        control.title = text;
        control.setAttribute('aria-describedby', `panel-error-${key}`);
    }

    addTo(key, label, control) {
        const hint = html('small', {}, limitsOf(key));
        const line = html('label', { for: control.id }, label, ' ', hint);
        const holder = html('div', { class: 'field' }, line, control);
        this.form.append(holder);
        if (!this.errors.has(key)) {
            const error = html('p', { class: 'error', id: `panel-error-${key}`, role: 'alert' });
            this.errors.set(key, error);
            holder.append(error);
        }
        return holder;
    }

    addField(key, label, form) {
        const input = html('input', { type: 'text', spellcheck: 'false' });
        this.describe(key, input);
        input.addEventListener('change', () => this.change(key, form.read(input.value)));
        this.fields.set(key, (value) => {
            input.value = value === undefined ? '' : form.write(value);
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
        area.addEventListener('change', () => this.change(key, readRows(area.value)));
        const holder = this.addTo(key, label, area);
        const showChoice = this.fields.get(key);
        this.fields.set(key, (value) => {
            showChoice(value);
            holder.hidden = typeof value === 'string';
            area.value = typeof value === 'string' ? '' : rowsText(value);
        });
    }

    addFlows() {
        const head = ['from', 'to', 'weight', ''].map((text) => html('th', { scope: 'col' }, text));
        const body = html('tbody');
        const add = html(
            'button',
            { type: 'button', 'data-testid': 'panel-add-flow' },
            'Add a flow',
        );
        add.addEventListener('click', () => {
            this.change('flows', [...this.experiment.flows, { from: 0, to: 1, weight: 1 }]);
        });
        const error = html('p', { class: 'error', role: 'alert' });
        this.errors.set('flows', error);
        const caption = html('caption', {}, 'Flows: from station to station, weight 1 .. 100');
        this.form.append(
            html(
                'div',
                { class: 'field' },
                html('table', {}, caption, html('thead', {}, html('tr', {}, ...head)), body),
                add,
                error,
            ),
        );
        this.fields.set('flows', (flows) => {
            body.replaceChildren(...flows.map((flow, k) => this.flowRow(flow, k)));
        });
    }

    flowRow(flow, k) {
        const cells = ['from', 'to', 'weight'].map((key) => {
            const input = html('input', {
                type: 'text',
                value: flow[key],
                'aria-label': `flow ${k + 1}: ${key}`,
                'data-testid': `panel-flow-${k}-${key}`,
            });
            input.addEventListener('change', () => {
                const flows = this.experiment.flows.with(k, {
                    ...this.experiment.flows[k],
                    [key]: readNumber(input.value),
                });
                this.change('flows', flows);
            });
            return html('td', {}, input);
        });
        const remove = html(
            'button',
            { type: 'button', 'aria-label': `remove flow ${k + 1}` },
            '×',
        );
        remove.addEventListener('click', () => {
            this.change('flows', this.experiment.flows.toSpliced(k, 1));
        });
        return html('tr', {}, ...cells, html('td', {}, remove));
    }

    change(key, value) {
        const next = { ...this.experiment, [key]: value };
        if (key === 'title' && value.trim() === '') {
            delete next.title;
        }
        this.actions.change(next, key);
    }

    // Shows an experiment, with all keys filled in; messages go.
    show(experiment) {
        this.experiment = experiment;
        for (const [key, show] of this.fields) {
            show(experiment[key]);
        }
        for (const error of this.errors.values()) {
            error.textContent = '';
        }
    }

    // Puts a message below the field of a key; what stands in the field stays, to be mended.
    refuse(key, message) {
        const error = this.errors.get(key);
        if (error !== undefined) {
            error.textContent = message;
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
