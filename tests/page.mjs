// Tests the page in a browser without a screen, against what the native programs print and write:
//
//     node tests/page.mjs BUILD-DIR PAGE [CASE ...]
//
// A case is a fresh tab. It fails, too, if the page says anything on the console, leaves an error
// unhandled, or asks for anything that it does not hold itself.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { deflateSync } from 'node:zlib';
import * as support from './page_support.mjs';

const { change, choosePreset, click, ended, expectedPoints, experimentOf, find, get } = support;
const { nativeRun, openText, runOf, samePoints, sameRun, sameValues, says, textOf } = support;
const { runEnds, show, trace, type, until, values, withTab, writeFresh } = support;

const LARGEST_SEED = (2n ** 63n - 1n).toString();
// The timeline holds a part of 20000 ticks about its view, which begins with 2000 ticks.
const PART_TICKS = 20000;
const VIEW_TICKS = 2000;
const LANES = { left: 92, top: 26, height: 54, middle: 9 }; // of its drawing, pixels

const presetText = (name) => readFileSync(join(support.EXPERIMENTS, `${name}.json`), 'utf8');
const pause = (ms) => new Promise((go) => setTimeout(go, ms));
const held = async (tab) => [await get(tab, 'experiment'), await get(tab, 'points')];

// Every experiment that the page offers: results, curves, values and warnings.
async function presets(tab) {
    const offered = await tab.page.$$eval('#preset option', (all) => all.map((one) => one.value));
    const names = readdirSync(support.EXPERIMENTS).filter((name) => name.endsWith('.json'));
    const wanted = names.map((name) => name.replace('.json', ''));
    assert.deepEqual(offered.sort(), [...wanted, '', 'whole'].sort());
    await support.all(wanted, (name) => preset(tab, name));
}

async function preset(tab, name) {
    await choosePreset(tab, name);
    await ended(tab);
    const text = presetText(name);
    const wanted = await (/"seed":/.test(text) ? nativeRun(tab.world, text) : runEnds(tab));
    sameRun(await runOf(tab), wanted);
    const points = expectedPoints(wanted);
    samePoints(await get(tab, 'points'), points);
    const told = [...wanted.warnings.matchAll(/^.*?: warning: (.*)$/gm)].map((match) => match[1]);
    const warnings = await tab.page.$$eval('#warnings li', (all) => all.map((e) => e.textContent));
    assert.deepEqual(warnings, told);
    assert.equal(await tab.page.$eval('#warnings-box', (box) => box.hidden), told.length === 0);
    await sameTable(tab, points);
}

// Goes through the values by the keyboard, and to one by the mouse.
async function sameTable(tab, points) {
    const chart = await find(tab, 'curves-throughput');
    await chart.focus();
    for (const point of points) {
        await tab.page.keyboard.press(point.index === 0 ? 'Home' : 'ArrowRight');
        await says(tab, 'curves-values', `Load ${point.load_kbps / 1000} Mbit/s: mean of`);
        sameValues(await values(tab), point);
    }
    const legend = await tab.page.$eval('.curves-legend', (box) => box.innerText);
    const names = points[0].flows.map((flow) => `${flow.from} to ${flow.to}`);
    assert.deepEqual(legend.match(/\d+ to \d+/g), names, 'legend');
    await chart.press('Home');
    await chart.scrollIntoView();
    const { x, y, width, height } = await (await chart.$('.u-over')).boundingBox();
    await tab.page.mouse.move(x + 0.97 * width, y + height / 2);
    await says(tab, 'curves-values', `Load ${points.at(-1).load_kbps / 1000} Mbit/s: mean of`);
    sameValues(await values(tab), points.at(-1));
}

// Ten stations that all send, so that a trace tells who hears whom.
const TALKERS = JSON.stringify({
    seed: 5,
    trials: 1,
    loads_kbps: [300],
    ticks: 1000000,
    window: [0, 999999],
    stations_m: Array.from({ length: 10 }, (_, i) => [30 * (i % 5), i < 5 ? 0.1 + 0.2 : 35]),
    flows: Array.from({ length: 10 }, (_, i) => ({ from: i, to: i ^ 1 })),
});

async function sameNeighbours(tab) {
    const path = writeFresh(tab.world, 'moved.json', await get(tab, 'experiment'));
    const csv = await trace(tab, path, { load: 300, trial: 1, from: 0, ticks: 1000000 });
    const hears = support.readCsv(csv).filter(({ event }) => event === 'hear');
    const heard = Array.from({ length: 10 }, () => new Set());
    hears.forEach(({ station, peer }) => heard[station].add(Number(peer)));
    for (let i = 0; i < 10; i += 1) {
        const station = await find(tab, `station-${i}`);
        if (await station.evaluate((each) => each.ariaPressed === 'false')) {
            await station.evaluate((each) => each.focus());
            await tab.page.keyboard.press('Enter');
        }
        const said = await textOf(tab, 'map-neighbours');
        const [first, ...others] = said.split('.')[0].match(/\d+/g).map(Number);
        assert.deepEqual([first, others], [i, [...heard[i]].sort((a, b) => a - b)], said);
    }
}

// Stations are moved by mouse and by keys; the neighbours are those of a trace of that.
async function stations(tab) {
    await openText(tab, TALKERS);
    await sameNeighbours(tab);
    const before = (await experimentOf(tab)).stations_m;
    const box = await (await find(tab, 'station-3')).boundingBox();
    const [x, y] = [box.x + box.width / 2, box.y + box.height / 2];
    const { mouse, keyboard } = tab.page;
    await change(tab, async () => {
        await mouse.move(x, y);
        await mouse.down();
        await mouse.move(x - 100, y + 30, { steps: 8 });
        await mouse.up();
    });
    const dragged = (await experimentOf(tab)).stations_m;
    assert.ok(dragged[3][0] < before[3][0] - 10 && dragged[3][1] > before[3][1], dragged[3]);
    assert.deepEqual(Object.assign([...dragged], { 3: before[3] }), before);
    await sameNeighbours(tab);
    await (await find(tab, 'station-9')).evaluate((each) => each.focus());
    await change(tab, () => keyboard.press('ArrowUp'));
    await keyboard.down('Shift');
    await change(tab, () => keyboard.press('ArrowLeft'));
    await change(tab, () => keyboard.press('ArrowLeft'));
    await keyboard.up('Shift');
    const [left, top] = before[9]; // a key is 1 m, with Shift 10 m
    assert.deepEqual(
        (await experimentOf(tab)).stations_m,
        Object.assign([...dragged], { 9: [left - 20, top - 1] }),
    );
    await sameNeighbours(tab);
    await heldKey(tab);
}

// A station that a held key moves is one change when the key is let go.
async function heldKey(tab) {
    const placeOf = async () => (await experimentOf(tab)).stations_m[9];
    await (await find(tab, 'station-9')).evaluate((each) => each.focus());
    const { keyboard } = tab.page;
    const [x, y] = await placeOf();
    await change(tab, () => keyboard.down('ArrowRight'));
    for (let repeat = 0; repeat < 4; repeat += 1) {
        await keyboard.down('ArrowRight');
    }
    assert.deepEqual(await placeOf(), [x + 1, y]);
    await change(tab, () => keyboard.up('ArrowRight'));
    assert.deepEqual(await placeOf(), [x + 5, y]);
}

const sameStory = (tab, { tick, station, frame, peer }) =>
    says(tab, 'timeline-story', `At tick ${tick} station ${station} begins ${frame} to ${peer}`);

// What is watched, chosen and looked for is what a native trace has.
async function timeline(tab) {
    const experiment = { ...JSON.parse(presetText('hidden-senders')), trials: 2 };
    const { loads_kbps: loads, ticks } = experiment;
    await openText(tab, JSON.stringify(experiment));
    const path = writeFresh(tab.world, 'traced.json', await get(tab, 'experiment'));
    for (const [index, trial, first] of [
        [0, 1, 0],
        [2, 2, 150000],
        [1, 2, ticks - VIEW_TICKS],
    ]) {
        await show(tab, { index, trial, from: first });
        const middle = first + (VIEW_TICKS - PART_TICKS) / 2;
        const from = Math.min(Math.max(middle, 0), ticks - PART_TICKS);
        const part = { load: loads[index], trial, from, ticks: PART_TICKS };
        const isSame = (await get(tab, 'traceTable')) === (await trace(tab, path, part));
        assert.ok(isSame, `another table: ${JSON.stringify(part)}`);
    }
    const place = { index: 2, trial: 2, from: 20000 };
    const whole = await trace(tab, path, { load: loads[2], trial: 2, from: 0, ticks });
    const rows = support.readCsv(whole).map((row) => ({ ...row, tick: Number(row.tick) }));
    const behind = rows.filter(({ tick }) => tick >= place.from);
    await show(tab, place);
    await frames(tab, behind, place.from);
    await searches(tab, behind, place);
    // What a change ends is not told of any more.
    await (await find(tab, 'timeline-load')).select('1');
    await click(tab, 'timeline-show');
    await click(tab, 'timeline-next-drop');
    await choosePreset(tab, 'few-ticks');
    await ended(tab);
    assert.doesNotMatch(await textOf(tab, 'timeline-status'), /[Ss]topped|Cannot/);
}

// Frames are chosen by mouse and by keys.
async function frames(tab, rows, from) {
    const begun = rows.filter(({ event }) => event === 'begin');
    const seen = begun.filter(({ tick }) => tick < from + VIEW_TICKS - 200);
    const canvas = await find(tab, 'timeline-canvas');
    await canvas.scrollIntoView();
    const { x, y, width } = await canvas.boundingBox();
    const scale = (width - LANES.left) / VIEW_TICKS;
    for (const frame of seen.filter((each) => each.frame === 'DATA')) {
        const lane = y + LANES.top + LANES.height * frame.station + LANES.middle;
        await tab.page.mouse.click(x + LANES.left + (frame.tick - from + 20) * scale, lane);
        await sameStory(tab, frame);
    }
    await canvas.press('Escape');
    await click(tab, 'timeline-show'); // frames are counted from the left again
    for (const frame of begun.slice(0, 3)) {
        await canvas.press(']');
        await sameStory(tab, frame);
    }
    await canvas.press('[');
    await sameStory(tab, begun[1]);
}

async function searches(tab, rows, place) {
    for (const kind of ['collision', 'timeout', 'drop']) {
        await show(tab, place);
        const found = rows.filter(({ event }) => event === kind);
        const ticks = [...new Set(found.map(({ tick }) => tick))].slice(0, 3);
        assert.ok(ticks.length > 0, `a ${kind} in the trace`);
        for (const tick of ticks) {
            const there = found.filter((row) => row.tick === tick);
            await click(tab, `timeline-next-${kind}`);
            const names = there.map(({ station }) => `station ${station}`);
            await says(tab, 'timeline-status', `Tick ${tick}: `, ...names);
        }
    }
}

// All files at once, and the experiment by itself, as the programs take them.
async function saving(tab) {
    await openText(tab, TALKERS.replace('"seed":5', `"seed":${LARGEST_SEED}`));
    const text = await get(tab, 'experiment');
    assert.ok(text.includes(`"seed": ${LARGEST_SEED},`), text);
    const wanted = await runEnds(tab);
    const folder = support.freshFolder(tab.world);
    const zip = await support.downloaded(tab, 'save-results', 'dcfsim-results.zip');
    execFileSync('python3', ['-m', 'zipfile', '-e', zip, folder]);
    sameRun(support.readRun(folder), wanted);
    await (await find(tab, 'panel-data_bytes')).click({ count: 3 });
    await tab.page.keyboard.type('900'); // and left by the click on the button
    const saved = await support.downloaded(tab, 'save', 'experiment.json');
    const changed = await get(tab, 'experiment');
    assert.equal(changed, text.replace(/"data_bytes": \d+/, '"data_bytes": 900'));
    assert.equal(readFileSync(saved, 'utf8'), changed);
    const { status, out } = await support.check(tab.world, saved);
    assert.deepEqual([status, out], [0, changed]);
    await choosePreset(tab, 'few-ticks');
    await change(tab, () => support.chooseFile(tab, saved));
    assert.equal(await get(tab, 'experiment'), changed);
}

const hasPoints = (tab, n) => until(tab, (least) => window.dcfsim.points().length >= least, n);

// A simulator has two gigabytes: a load point leaves its results, and nothing else.
async function many(tab) {
    const loads = Array.from({ length: 1000 }, (_, i) => 30 * i);
    const settings = { seed: 3, trials: 4, ticks: 100, window: [10, 99] };
    await openText(tab, JSON.stringify({ ...settings, loads_kbps: loads }));
    const { manifest } = await runEnds(tab);
    const hashes = await tab.page.evaluate((name) => {
        const text = new TextDecoder().decode(window.dcfsim.files()[name]);
        return JSON.parse(text).sha256;
    }, 'manifest.json');
    assert.deepEqual(hashes, manifest.sha256);
    assert.equal((await get(tab, 'points')).length, loads.length);
}

// The published experiment is changed and stopped in the middle of its runs.
async function changes(tab) {
    await choosePreset(tab, 'whole');
    await hasPoints(tab, 2);
    await support.record(tab);
    const old = await experimentOf(tab);
    await change(tab, () => type(tab, 'panel-data_bytes', '600'));
    const text = await get(tab, 'experiment');
    assert.deepEqual(JSON.parse(text), { ...old, data_bytes: 600 });
    await hasPoints(tab, 3);
    await click(tab, 'stop');
    const stopped = await get(tab, 'points');
    await pause(1500); // longer than two load points take
    assert.deepEqual(await get(tab, 'points'), stopped);
    const seen = (await tab.page.evaluate(() => [...window.seen])).map((each) => JSON.parse(each));
    const ours = seen.filter(([experiment]) => experiment === text).map(([, points]) => points);
    const wanted = await support.firstPoints(tab, text, stopped.length);
    assert.ok(ours.length >= 3);
    ours.forEach((points) => samePoints(points, wanted.slice(0, points.length)));
    await rerun(tab);
}

// Stopped, and run again and again to the same end.
async function rerun(tab) {
    await change(tab, () => type(tab, 'panel-window', '50000, 299999'));
    await change(tab, () => type(tab, 'panel-ticks', '300000'));
    await hasPoints(tab, 2);
    await click(tab, 'stop');
    assert.equal(await get(tab, 'files'), null);
    for (let run = 0; run < 2; run += 1) {
        await click(tab, 'again');
        const wanted = await runEnds(tab);
        sameRun(await runOf(tab), wanted);
        samePoints(await get(tab, 'points'), expectedPoints(wanted));
    }
}

// A link brings the experiment to another tab; one that is not whole is told, and changes nothing.
async function links(tab) {
    await openText(tab, TALKERS);
    await change(tab, () => type(tab, 'panel-title', 'Größer als "0" & <b>1</b>'));
    const link = await tab.page.evaluate(() => location.hash);
    const points = expectedPoints(await runEnds(tab));
    await withTab(tab.world, link, async (other) => {
        await ended(other);
        assert.equal(await get(other, 'experiment'), await get(tab, 'experiment'));
        samePoints(await get(other, 'points'), points);
    });
    const bad = {
        'cut short': link.slice(0, -9),
        rubbish: '#e=%%%not*a-link',
        changed: `${link.slice(0, 60)}${link[60] === 'A' ? 'B' : 'A'}${link.slice(61)}`,
        'wrong experiment': `#e=${deflateSync('{"trials": 0}', { level: 9 }).toString('base64url')}`,
    };
    await support.all(Object.keys(bad), (name) => badLink(tab, bad[name]));
}

// In an open page all stays; a fresh one begins with the first experiment.
async function badLink(tab, link) {
    const before = await held(tab);
    const address = await tab.page.evaluate(() => location.href);
    await tab.page.evaluate((hash) => (location.hash = hash), link);
    await find(tab, 'message', { visible: true });
    assert.deepEqual(await held(tab), before);
    await until(tab, (old) => location.href === old, address);
    await tab.page.click('#dismiss');
    await withTab(tab.world, link, async (other) => {
        await hasPoints(other, 1);
        const { title } = JSON.parse(presetText('example-published'));
        assert.equal((await experimentOf(other)).title, title);
        assert.notEqual(await textOf(other, 'message'), '', 'message in a fresh tab');
    });
}

// Files that are no experiments: told as the program tells it, and all stays as it was.
async function files(tab) {
    await openText(tab, TALKERS, 'example-hidden'); // the name of a preset, which it is not
    await ended(tab);
    assert.equal(await tab.page.$eval('#preset', (each) => each.value), '');
    assert.equal(await textOf(tab, 'look'), 'An experiment of your own.');
    const before = await held(tab);
    for (const [name, content] of Object.entries({
        'no.json': 'these are words',
        'zero.json': '{"title": "a\0b"}',
        'trials.json': '{"trials": 0}',
        'large.json': `{"title": "a"}${' '.repeat(1 << 20)}`,
        'empty.json': '',
        'a <b> & "c" ü.json': '{"flows": [{"from": 0, "to": 3}]}',
    })) {
        const path = writeFresh(tab.world, name, content);
        const { status, err } = await support.check(tab.world, path);
        assert.equal(status, 2, name);
        await support.chooseFile(tab, path);
        await find(tab, 'message', { visible: true });
        assert.equal(`dcfsim-experiment: ${await textOf(tab, 'message')}\n`, err);
        assert.deepEqual(await held(tab), before);
        await tab.page.click('#dismiss');
    }
}

// A wrong value stays in its field with a message below; a right one takes that away.
async function panel(tab) {
    await openText(tab, TALKERS);
    for (const [key, value, wrong, right] of [
        ['trials', '0', '0', '2'],
        ['loads_kbps', '500, 500', '[500, 500]', '500, 600'],
        ['seed', '9223372036854775808', '9223372036854775808', LARGEST_SEED],
        ['data_bytes', 'many', '"many"', '1000'],
    ]) {
        const before = await get(tab, 'experiment');
        const changed = before.replace(new RegExp(`("${key}": ).*(?=,\n)`), `$1${wrong}`);
        const path = writeFresh(tab.world, 'experiment', changed);
        const { err } = await support.check(tab.world, path);
        await type(tab, `panel-${key}`, value);
        const error = await tab.page.waitForSelector(`#panel-error-${key}:not(:empty)`);
        const said = () => error.evaluate((each) => each.textContent);
        assert.equal(`dcfsim-experiment: experiment: ${await said()}\n`, err);
        const above = await (await find(tab, `panel-${key}`)).boundingBox();
        const gap = (await error.boundingBox()).y - above.y - above.height;
        assert.ok(gap >= 0 && gap < 20, `message ${gap} pixels below ${key}`);
        assert.equal(await get(tab, 'experiment'), before);
        await change(tab, () => type(tab, `panel-${key}`, right));
        assert.equal(await said(), '');
    }
}

// Nothing is too wide, and nothing is amiss for screen readers and weak eyes, in either theme.
async function layout(tab) {
    await choosePreset(tab, 'cts-into-spoiled-reception');
    await click(tab, 'station-0');
    await show(tab, { index: 0, trial: 1, from: 0 });
    const { page } = tab;
    for (const width of [1280, 800, 380]) {
        await page.setViewport({ width, height: 800 });
        await pause(200); // for what is drawn anew
        const all = await page.evaluate(() => document.documentElement.scrollWidth);
        assert.ok(all <= width, `${all} pixels at ${width}`);
        await support.accessible(page);
    }
    await themes(page);
}

// The theme is that of the system until the button is pressed.
async function themes(page) {
    const read = () => getComputedStyle(document.body).getPropertyValue('--paper');
    const isOther = (before) =>
        getComputedStyle(document.body).getPropertyValue('--paper') !== before;
    const scheme = (value) => page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value }]);
    const papers = [];
    const press = () => page.click('#theme');
    for (const set of [() => scheme('light'), () => scheme('dark'), press, press]) {
        await set();
        await page.waitForFunction(isOther, { timeout: 5000 }, papers.at(-1));
        papers.push(await page.evaluate(read));
        await support.accessible(page);
    }
    assert.deepEqual(papers.slice(2), papers.slice(0, 2));
}

// Pinned curves stay beside those of another experiment.
async function pinning(tab) {
    await choosePreset(tab, 'pairs-25m');
    const last = expectedPoints(await runEnds(tab)).at(-1);
    const { title } = await experimentOf(tab);
    await click(tab, 'pin');
    await choosePreset(tab, 'rts-pairs');
    await ended(tab);
    await says(tab, 'curves-notes', title);
    await (await find(tab, 'curves-delay')).press('End');
    const { load_kbps: load, total } = last;
    await says(tab, 'curves-values', `Load ${load / 1000} Mbit/s`, `${title}: total ${total} M`);
    const rows = (await values(tab)).rows.filter(([name]) => name.startsWith(title));
    const shown = rows.map(([name, , delivered]) => `${name}; ${delivered}`);
    const told = ({ from, to, delivered }) => `${title}: ${from} to ${to}; ${delivered}`;
    assert.deepEqual(shown, last.flows.map(told));
    await click(tab, 'pin');
    await until(tab, (text) => !document.querySelector('.curves').innerText.includes(text), title);
}

// Where the first simulator cannot begin that is told, and the next choice begins another.
async function failing(tab) {
    await tab.page.evaluateOnNewDocument(() => {
        const Whole = window.Worker;
        window.Worker = function makeBroken() {
            window.Worker = Whole;
            const code = document.getElementById('worker-code').textContent;
            const fault = 'WebAssembly.instantiate = () => Promise.reject(new Error("no room"));';
            return new Whole(URL.createObjectURL(new Blob([fault, code])));
        };
    });
    await tab.page.reload();
    await says(tab, 'message', 'no room');
    await tab.page.select('#preset', 'few-ticks');
    await runEnds(tab);
    assert.equal(await textOf(tab, 'message'), '');
}

const CASES = [
    ...[presets, stations, timeline, saving, many, changes, links],
    ...[files, panel, layout, pinning, failing],
];
await support.runCases(process.argv.slice(2), CASES);
