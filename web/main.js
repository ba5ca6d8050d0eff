// The page: one experiment, what it is changed to, and what is shown of the runs that follow.
import { createCurves } from './curves.js';
import { download, html } from './dom.js';
import { Simulator } from './engine.js';
import { decodeLink, encodeLink, parseExperiment, writeExperiment } from './experiment.js';
import { createMap } from './map.js';
import { createPanel } from './panel.js';
import { Runs } from './runs.js';
import { createTimeline } from './timeline.js';

const FIRST = 'example-published';
const WHOLE = 'whole'; // the choice that is no file: all defaults
const LOOK_OF_WHOLE =
    'All loads of the published experiment at their full length: it takes long, and may be stopped.';
const LINK = '#e=';
const QUICK_MS = 800; // that the tracer may take for a timeline that nobody has asked for
const SETTLED_US = 2000; // into the window: something goes on by then
const ADDRESS_MS = 5000; // until the address is tried again
const NAME = 'experiment'; // in messages, of what has no file

const presets = JSON.parse(document.getElementById('experiments').textContent);
const encoder = new TextEncoder();
const byId = (id) => document.getElementById(id);

const reader = new Simulator(); // reads experiments; never busy for long
const packer = new Simulator(); // writes zips, which may take a second
const state = {
    experiment: null, // with all keys, a seed too
    network: null,
    name: NAME, // of the preset or file that it was
    isPreset: false, // not a file, which may have the name of one
    isChanged: false, // since then
    reading: 0, // counts what is read, so that the last one wins
    changing: null, // the change by a field that was made last, a promise
    done: 0, // load points that the run has passed
};

function say(text) {
    byId('status').textContent = text;
}

function complain(message) {
    byId('message').textContent = message;
    byId('message-box').hidden = message === '';
}

// Reads an experiment; null if something else has been read meanwhile.
async function read(bytes, name) {
    state.reading += 1;
    const { reading } = state;
    const isLast = () => reading === state.reading;
    const answer = await reader.ask('open', { bytes, name }).catch((error) => {
        if (isLast()) {
            throw error;
        }
    });
    if (!isLast()) {
        return null;
    }
    const experiment = parseExperiment(answer.experiment);
    const seed = experiment.seed ?? Math.floor(Date.now() / 1000);
    const { title, ...rest } = experiment;
    const first = title === undefined ? { seed } : { title, seed };
    return { ...answer, experiment: { ...first, ...rest, seed } };
}

// Takes an experiment that stands in bytes; what is wrong with it is told, and all stays as it was.
async function open(bytes, name, isPreset = false) {
    try {
        const answer = await read(bytes, name.replaceAll(/[/\0]/g, '_') || NAME);
        if (answer !== null) {
            take(answer, { name, isPreset, isChanged: false });
        }
        return true;
    } catch (error) {
        complain(error.message);
        return false;
    }
}

// Takes an experiment of which a key has been changed. A message goes to the field of that key.
async function change(experiment, key) {
    try {
        const answer = await read(encoder.encode(writeExperiment(experiment)), NAME);
        if (answer !== null) {
            take(answer, { isChanged: true });
        }
    } catch (error) {
        const message = error.message.replace(`${NAME}: `, '');
        const named = /^(\w+)/.exec(message)?.[1];
        if (!panel.refuse(named, message) && !panel.refuse(key, message)) {
            complain(message);
        }
        map.setNetwork(state.network);
        showMap();
    }
}

// Shows an experiment that has been read, and runs it; `origin` has what of that changes.
function take({ experiment, network, warnings }, origin) {
    Object.assign(state, { experiment, network, ...origin });
    panel.show(experiment);
    showMap();
    map.setNetwork(network);
    showWarnings(warnings);
    showPreset();
    showAddress();
    document.title = `${experiment.title ?? 'dcfsim'} - dcfsim`;
    runs.stopTrace();
    timeline.setExperiment({ ...experiment, ticks: Number(experiment.ticks), from: firstTick() });
    curves.setExperiment(experiment);
    run();
}

function linkOf(experiment) {
    return LINK + encodeLink(writeExperiment(experiment));
}

// Browsers refuse to change the address very often, and some throw: it is tried again then.
function showAddress() {
    try {
        history.replaceState(null, '', linkOf(state.experiment));
    } catch {
        setTimeout(showAddress, ADDRESS_MS);
    }
}

function showMap() {
    map.setExperiment({ ...state.experiment, stations: state.network.stations });
}

function showWarnings(warnings) {
    byId('warnings').replaceChildren(...warnings.map((text) => html('li', {}, text)));
    byId('warnings-box').hidden = warnings.length === 0;
}

function lookOf() {
    if (!state.isPreset) {
        return state.experiment.title ?? 'An experiment of your own.';
    }
    const text = state.name === WHOLE ? LOOK_OF_WHOLE : presets[state.name].look;
    return state.isChanged ? `Changed from ${state.name}. Of that: ${text}` : text;
}

function showPreset() {
    // One that is changed can be chosen again, to have it back as it was.
    byId('preset').value = state.isPreset && !state.isChanged ? state.name : '';
    byId('look').textContent = lookOf();
}

function setRunning(isRunning) {
    // Counts go by too fast to be read out; how it ends is.
    byId('status').setAttribute('aria-live', isRunning ? 'off' : 'polite');
    byId('stop').disabled = !isRunning;
    byId('again').disabled = isRunning;
    byId('progress').hidden = !isRunning;
    byId('save-results').disabled = runs.files === null;
}

function pointNumber() {
    return state.experiment.loads_kbps.length * state.experiment.trials;
}

// Where a timeline begins that is opened without a tick.
function firstTick() {
    const { ticks, window } = state.experiment;
    return Math.min(Number(window[0]) + SETTLED_US, Number(ticks) - 1);
}

function run() {
    state.done = 0;
    byId('progress').value = 0;
    complain('');
    say('running');
    runs.begin(state.experiment);
    setRunning(true);
}

const runs = new Runs({
    point: (point, stage) => {
        curves.setPoint(point, stage);
        if (stage === 'exact') {
            state.done += 1;
            say(`load point ${state.done} of ${pointNumber()}`);
        }
    },
    share: (share) => {
        byId('progress').value = share;
    },
    ended: (ms) => {
        setRunning(false);
        say(`all ${pointNumber()} load points are run, in ${(ms / 1000).toFixed(1)} s`);
        timeline.offer(QUICK_MS / (ms / pointNumber()));
    },
    failed: (message) => {
        setRunning(false);
        say('the run has ended early');
        complain(message);
    },
});

function stop() {
    runs.stop();
    setRunning(false);
    say('stopped');
}

// Asks for a trace, and shows how far it is.
async function trace(work, request, text) {
    const tell = ({ share }) => {
        if (share !== undefined) {
            timeline.setBusy(`${text}: ${Math.floor(100 * share)} %`);
        }
    };
    try {
        return await runs.trace(work, request, tell);
    } finally {
        timeline.setBusy(null);
    }
}

async function saveResults() {
    byId('save-results').disabled = true;
    try {
        const { zip } = await packer.ask('pack', { files: runs.files });
        packer.stop();
        download(zip, 'dcfsim-results.zip', 'application/zip');
    } catch (error) {
        complain(error.message);
    }
    byId('save-results').disabled = runs.files === null;
}

// The click may be what ends the typing in a field: that change is part of what is saved.
async function saveExperiment() {
    await state.changing;
    if (state.experiment !== null) {
        download(writeExperiment(state.experiment), 'experiment.json', 'application/json');
    }
}

async function openFile(file) {
    try {
        await open(new Uint8Array(await file.arrayBuffer()), file.name);
    } catch (error) {
        complain(`${file.name}: ${error.message}`); // not to be read, or too large for that
    }
}

function openPreset(name) {
    const text = name === WHOLE ? '{}' : presets[name].text;
    return open(encoder.encode(text), name, true);
}

async function openAddress() {
    if (!location.hash.startsWith(LINK)) {
        return false;
    }
    try {
        return await open(decodeLink(location.hash.slice(LINK.length)), NAME);
    } catch (error) {
        complain(error.message);
        return false;
    }
}

// Whatever comes of an address that is typed, it tells the experiment that is shown.
async function followAddress() {
    await openAddress();
    if (state.experiment !== null) {
        showAddress();
    }
}

// The rows or places that a choice by name stands for.
function listOf(key) {
    if (key === 'stations_m') {
        return state.network.stations;
    }
    const rows = new Map();
    for (const path of state.network.paths) {
        const last = path.length - 1;
        for (let i = 0; i < last; i += 1) {
            const there = [path[i], path[last], path[i + 1]];
            const back = [path[i + 1], path[0], path[i]];
            rows.set(there.join(), there).set(back.join(), back);
        }
    }
    return [...rows.values()];
}

// Shows where a station is dragged to; the runs begin anew when it is let go.
async function move(station, x, y, isFinal) {
    const stations = state.network.stations.with(station, [x, y]);
    const experiment = { ...state.experiment, stations_m: stations };
    if (isFinal) {
        await change(experiment, 'stations_m');
        return;
    }
    map.setExperiment({ ...experiment, stations });
    try {
        const answer = await read(encoder.encode(writeExperiment(experiment)), NAME);
        if (answer !== null) {
            map.setNetwork(answer.network);
        }
    } catch {
        map.setNetwork(null); // told when the station is let go
    }
}

const map = createMap(byId('map'), { move });
const panel = createPanel(byId('panel'), {
    change: (experiment, key) => {
        state.changing = change(experiment, key);
    },
    listOf,
});
const curves = createCurves(byId('curves'), {
    chooseLoad: (index) => {
        byId('timeline-head').scrollIntoView({ block: 'start' });
        timeline.open({ trial: 0, index, from: firstTick() });
    },
});
const timeline = createTimeline(byId('timeline'), {
    watch: (trial, index, from, ticks) =>
        trace('watch', { trial, index, from, ticks }, 'on the way to the load point'),
    find: async (trial, index, kind, tick) =>
        (await trace('find', { trial, index, kind, tick }, 'looking')).tick,
    tell: async (frame) => (await trace('tell', { frame }, 'reading')).sentences,
    stop: () => runs.stopTrace(),
});

function redraw() {
    map.redraw();
    curves.redraw();
    timeline.redraw();
}

const darkMedia = matchMedia('(prefers-color-scheme: dark)');

function showTheme(isDark) {
    document.documentElement.dataset.theme = isDark ? 'dark' : 'light';
    redraw();
}

function switchTheme() {
    showTheme(document.documentElement.dataset.theme !== 'dark');
}

function pin() {
    if (curves.pinned() === null && curves.points().length === 0) {
        say('there is no load point to pin yet');
    } else if (curves.pinned() === null) {
        curves.pin(state.experiment.title ?? state.name);
    } else {
        curves.pin(null);
    }
    byId('pin').textContent = curves.pinned() === null ? 'Pin these curves' : 'Take the pin out';
}

async function copyLink() {
    await state.changing;
    try {
        const [page] = location.href.split('#');
        await navigator.clipboard.writeText(page + linkOf(state.experiment));
        say('the address is copied; it holds the experiment');
    } catch {
        say('the address above holds the experiment: copy it from there');
    }
}

function listen(id, event, work) {
    byId(id).addEventListener(event, work);
}

function begin() {
    for (const name of Object.keys(presets)) {
        const { title } = JSON.parse(presets[name].text);
        byId('preset').append(html('option', { value: name }, `${name}: ${title}`));
    }
    listen('preset', 'change', ({ target }) => target.value !== '' && openPreset(target.value));
    listen('open', 'click', () => byId('file').click());
    listen('file', 'change', async ({ target }) => {
        await Promise.all([...target.files].map(openFile));
        target.value = ''; // the same file may be opened again
    });
    listen('save', 'click', saveExperiment);
    listen('save-results', 'click', saveResults);
    listen('link', 'click', copyLink);
    listen('pin', 'click', pin);
    listen('stop', 'click', stop);
    listen('again', 'click', run);
    listen('theme', 'click', switchTheme);
    listen('dismiss', 'click', () => complain(''));
    // Where all stands in one column, the fields would push the map out of sight.
    document.querySelector('.side').open = !matchMedia('(max-width: 800px)').matches;
    showTheme(darkMedia.matches);
    darkMedia.addEventListener('change', () => showTheme(darkMedia.matches));
    addEventListener('hashchange', followAddress);
    // For those who drive the page by a program.
    window.dcfsim = {
        experiment: () => (state.experiment === null ? '' : writeExperiment(state.experiment)),
        network: () => state.network,
        points: () => curves.points(),
        files: () => runs.files,
        times: () => runs.times,
        traceTable: async () => (await trace('table', {}, 'reading')).text,
    };
}

// What is shown first: the experiment of the address, or else a preset, with what is wrong with the
// address.
async function openFirst() {
    const isOpen = await openAddress();
    if (!isOpen && state.experiment === null) {
        const message = byId('message').textContent;
        if (await openPreset(FIRST)) {
            complain(message);
        }
    }
}

begin();
openFirst();
