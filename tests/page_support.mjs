// What the tests of the page share: a browser with a fresh tab for each case, the native programs
// that everything is compared with, and what their tables say the page has to show.
import assert from 'node:assert/strict';
import { execFile, execFileSync } from 'node:child_process';
import { createHash } from 'node:crypto';
import { mkdtempSync, readdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { basename, dirname, join, resolve } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';

const SOURCE = dirname(dirname(fileURLToPath(import.meta.url)));
const require = createRequire(join(SOURCE, 'web/package.json'));
const puppeteer = require('puppeteer-core');

export const EXPERIMENTS = join(SOURCE, 'experiments');
const LONGEST_WAIT = 20_000; // ms
const MANIFEST = 'manifest.json';
const TIMED = /result\.txt$/; // its last line tells how long the run took
const HEADER_BYTES = 28; // of a packet, besides its data
const STEADY_LIMIT = 3.5; // docs/results.md, "Loads without a steady state"

// Where the cases run: a browser, the programs and a folder for what they write.
async function openWorld(build, page) {
    const folder = mkdtempSync(join(tmpdir(), 'dcfsim-page-'));
    const browser = await puppeteer.launch({
        executablePath: execFileSync('which', ['chromium'], { encoding: 'utf8' }).trim(),
        args: ['--no-sandbox'],
        headless: true,
    });
    const address = pathToFileURL(resolve(page)).href;
    return { folder, browser, build: resolve(build), address, natives: new Map() };
}

async function closeWorld(world) {
    await world.browser.close();
    rmSync(world.folder, { recursive: true });
}

export const freshFolder = (world) => mkdtempSync(join(world.folder, 'x-'));

export function writeFresh(world, name, content) {
    const path = join(freshFolder(world), name);
    writeFileSync(path, content);
    return path;
}

// Runs one of the programs in the folder of a file; what it prints, and its status.
function native(world, program, args, folder = world.folder) {
    const options = { cwd: folder, maxBuffer: 1 << 28 };
    return new Promise((tell) => {
        execFile(join(world.build, program), args, options, (error, out, err) =>
            tell({ status: error === null ? 0 : error.code, out, err }),
        );
    });
}

export async function check(world, path) {
    const args = ['--check', basename(path)];
    return native(world, 'dcfsim-experiment', args, dirname(path));
}

// What a native run of an experiment leaves: files by name, manifest, and the rows of flows.csv.
export async function nativeRun(world, text) {
    if (!world.natives.has(text)) {
        const path = writeFresh(world, 'native.json', text);
        const folder = dirname(path);
        const args = [path, '--out', join(folder, 'out')];
        const { status, err } = await native(world, 'dcfsim-experiment', args);
        assert.equal(status, 0, err);
        world.natives.set(text, { ...readRun(join(folder, 'out')), warnings: err });
    }
    return world.natives.get(text);
}

export function readRun(folder) {
    const names = readdirSync(folder, { recursive: true, withFileTypes: true })
        .filter((entry) => entry.isFile())
        .map((entry) => join(entry.parentPath, entry.name));
    const files = new Map(names.map((path) => [path.slice(folder.length + 1), readFileSync(path)]));
    return withTables(files);
}

function withTables(files) {
    const manifest = JSON.parse(files.get(MANIFEST).toString());
    const name = [...files.keys()].find((each) => each.endsWith('/flows.csv'));
    return { files, manifest, rows: readCsv(files.get(name).toString()) };
}

export function readCsv(text) {
    const [head, ...lines] = text.trimEnd().split('\n');
    const keys = head.split(',');
    return lines.map((line) => {
        const cells = line.split(',');
        return Object.fromEntries(keys.map((key, k) => [key, cells[k]]));
    });
}

const sha256 = (bytes) => createHash('sha256').update(bytes).digest('hex');

// Two runs of one experiment have the same bytes, except in what tells the time.
export function sameRun(run, wanted) {
    assert.equal(run.manifest.complete, true);
    assert.deepEqual(run.manifest.experiment, wanted.manifest.experiment);
    assert.deepEqual(run.manifest.sha256, wanted.manifest.sha256);
    assert.equal(Object.keys(run.manifest.sha256).length, 44, 'files of a run');
    assert.deepEqual([...run.files.keys()].sort(), [...wanted.files.keys()].sort());
    for (const [name, bytes] of run.files) {
        if (TIMED.test(name)) {
            assert.equal(withoutTime(bytes), withoutTime(wanted.files.get(name)), name);
        } else if (name !== MANIFEST) {
            assert.equal(sha256(bytes), wanted.manifest.sha256[name], name);
        }
    }
}

function withoutTime(bytes) {
    return bytes.toString('latin1').replace(/simulation run time.*\n/, '');
}

// The points that a run has to show, reckoned from its flows.csv.
export function expectedPoints({ manifest, rows }) {
    const { experiment } = manifest;
    return experiment.loads_kbps.map((load, index) => {
        const mine = rows.filter((row) => Number(row.load_kbps) === load);
        const names = [...new Set(mine.map((row) => `${row.from} ${row.to}`))];
        const flows = names.map((name) => {
            const trials = mine.filter((row) => `${row.from} ${row.to}` === name);
            return expectedFlow(experiment, trials);
        });
        const total = flows.reduce((sum, flow) => sum + flow.delivered, 0);
        const squares = flows.reduce((sum, flow) => sum + flow.delivered ** 2, 0);
        const fairness = total > 0 ? (total * total) / (flows.length * squares) : null;
        return { load_kbps: load, index, trials: experiment.trials, flows, total, fairness };
    });
}

function mean(rows, key) {
    const cells = rows.map((row) => row[key]).filter((cell) => cell !== '');
    const sum = cells.reduce((all, cell) => all + Number(cell), 0);
    return cells.length > 0 ? sum / cells.length : null;
}

function expectedFlow(experiment, rows) {
    const { window, ticks, data_bytes: data } = experiment;
    const measured = Math.min(window[1], ticks - 1) - window[0] + 1;
    const bits = (data + HEADER_BYTES) * 8;
    const packets = (key) =>
        rows.reduce((sum, row) => sum + Math.round((Number(row[key]) * measured) / bits), 0);
    const drops = rows.reduce((sum, row) => sum + Number(row.drops), 0);
    const arrived = packets('offered_mbps');
    const kept = arrived - packets('delivered_mbps') - drops;
    return {
        from: Number(rows[0].from),
        to: Number(rows[0].to),
        offered: mean(rows, 'offered_mbps'),
        delivered: mean(rows, 'delivered_mbps'),
        delay_us: mean(rows, 'delay_us'),
        steady: kept <= STEADY_LIMIT * Math.sqrt(arrived),
    };
}

// Calls `work` with a fresh tab at the page, and tells what the tab complained of.
export async function withTab(world, link, work) {
    const downloads = freshFolder(world);
    const context = await world.browser.createBrowserContext({
        downloadBehavior: { policy: 'allow', downloadPath: downloads },
    });
    const page = await context.newPage();
    page.setDefaultTimeout(LONGEST_WAIT);
    const faults = [];
    page.on('console', (said) => {
        if (['error', 'warn', 'warning', 'assert'].includes(said.type())) {
            faults.push(`console: ${said.text()}`);
        }
    });
    page.on('pageerror', (error) => faults.push(`error: ${error?.message ?? error}`));
    page.on('request', (request) => {
        const [url] = request.url().split('#');
        if (url !== world.address && !/^(blob|data):/.test(url)) {
            faults.push(`request: ${url}`);
        }
    });
    try {
        await page.setViewport({ width: 1280, height: 800 });
        await page.goto(world.address + link);
        const tab = { world, page, downloads };
        await settled(tab);
        await work(tab);
        assert.equal(faults.length, 0, 'the page complains');
    } catch (error) {
        faults.forEach((fault) => (error.message += `\n    ${fault}`));
        throw error;
    } finally {
        await context.close();
    }
}

// Waits until `test` holds in the page.
export function until(tab, test, ...values) {
    return tab.page.waitForFunction(test, { polling: 20 }, ...values);
}

export const settled = (tab) => until(tab, () => window.dcfsim?.network() && document.title);

export function find(tab, id, options = {}) {
    return tab.page.waitForSelector(`[data-testid="${id}"]`, options);
}

export async function click(tab, id) {
    await (await find(tab, id)).click();
}

// Waits until an element says all of some texts.
export async function says(tab, id, ...texts) {
    const hasAll = (selector, all) => {
        const said = document.querySelector(selector).textContent;
        return all.every((text) => said.includes(text));
    };
    await until(tab, hasAll, `[data-testid="${id}"]`, texts).catch(async () =>
        assert.fail(`${id}: wanted '${texts.join("', '")}', got '${await textOf(tab, id)}'`),
    );
}

export function textOf(tab, id) {
    return tab.page.$eval(`[data-testid="${id}"]`, (element) => element.textContent);
}

// Complains of what screen readers and weak eyes stumble over, contrast included.
export async function accessible(page) {
    if (!(await page.evaluate(() => 'axe' in window))) {
        await page.addScriptTag({ path: require.resolve('axe-core/axe.min.js') });
    }
    const found = await page.evaluate(async () => (await window.axe.run()).violations);
    const faults = found.flatMap(({ help, nodes }) => nodes.map(({ html }) => `${help}: ${html}`));
    assert.deepEqual(faults, []);
}

// Types into a field as a user does, and leaves it.
export async function type(tab, id, text) {
    await (await find(tab, id)).click({ count: 3 });
    await tab.page.keyboard.type(text);
    await tab.page.keyboard.press('Tab');
}

// What window.dcfsim tells.
export function get(tab, what) {
    return tab.page.evaluate((name) => window.dcfsim[name](), what);
}

export async function experimentOf(tab) {
    return JSON.parse(await get(tab, 'experiment'));
}

// Does something that changes the experiment, and waits for the new one.
export async function change(tab, work) {
    const before = await get(tab, 'experiment');
    await work();
    await until(tab, (old) => window.dcfsim.experiment() !== old, before);
}

export const ended = (tab) => until(tab, () => window.dcfsim.files() !== null);

export async function choosePreset(tab, name) {
    if ((await tab.page.$eval('#preset', (each) => each.value)) !== name) {
        await change(tab, () => tab.page.select('#preset', name));
    }
}

// The native run of what the page has, when that is run.
export async function runEnds(tab) {
    await ended(tab);
    return nativeRun(tab.world, await get(tab, 'experiment'));
}

// Shows a part of a load point, and waits for it.
export async function show(tab, { index, trial, from }) {
    await (await find(tab, 'timeline-load')).select(String(index));
    await (await find(tab, 'timeline-trial')).select(String(trial - 1));
    await type(tab, 'timeline-from', String(from));
    await click(tab, 'timeline-show');
    await tab.page.waitForSelector('[data-testid="timeline-canvas"]:not([aria-busy])');
}

// Opens a file as a user does; what it leads to is for the caller to await.
export async function chooseFile(tab, path) {
    const [chooser] = await Promise.all([tab.page.waitForFileChooser(), click(tab, 'open')]);
    await chooser.accept([path]);
}

export async function openText(tab, text, name = 'opened.json') {
    await change(tab, () => chooseFile(tab, writeFresh(tab.world, name, text)));
}

// The file that a click on a button downloads.
export async function downloaded(tab, id, name) {
    await click(tab, id);
    const path = join(tab.downloads, name);
    const end = Date.now() + LONGEST_WAIT;
    while (!readdirSync(tab.downloads).includes(name)) {
        assert.ok(Date.now() < end, `${name} has not come`);
        await new Promise((go) => setTimeout(go, 20));
    }
    return path;
}

// The results that the page holds.
export async function runOf(tab) {
    const files = await tab.page.evaluate(() => {
        const letters = (bytes) => Array.from(bytes, (byte) => String.fromCharCode(byte)).join('');
        return Object.entries(window.dcfsim.files()).map(([name, b]) => [name, letters(b)]);
    });
    return withTables(new Map(files.map(([name, text]) => [name, Buffer.from(text, 'latin1')])));
}

// The rows and the caption below the charts.
export function values(tab) {
    return tab.page.$eval('[data-testid="curves-values"]', (box) => ({
        caption: box.querySelector('p').textContent,
        rows: [...box.querySelectorAll('tbody tr')].map((row) =>
            [...row.children].map((cell) => cell.textContent),
        ),
    }));
}

function near(value, wanted, what) {
    assert.ok(value === wanted || Math.abs(value / wanted - 1) < 1e-12, `${what}: ${value}`);
}

export function samePoints(points, wanted) {
    const exact = (list) => list.map((point) => ({ ...point, fairness: null }));
    assert.deepEqual(exact(points), exact(wanted));
    points.forEach((point, k) => near(point.fairness, wanted[k].fairness, 'fairness'));
}

export function sameValues({ caption, rows }, point) {
    const [, load, total, fairness] =
        /^Load (\S+) Mbit\/s: .*?total (\S+) Mbit\/s, .*? fairness (\S+)\.$/.exec(caption) ?? [];
    assert.equal(load, String(point.load_kbps / 1000), caption);
    assert.equal(total, String(point.total), caption);
    near(fairness === 'none' ? null : Number(fairness), point.fairness, caption);
    const wanted = point.flows.map((flow) => {
        const numbers = [flow.offered, flow.delivered, flow.delay_us ?? 'none'];
        const state = flow.steady ? 'steady' : 'no steady state';
        return [`${flow.from} to ${flow.to}`, ...numbers, state].join('; ');
    });
    rows.forEach(([name, ...cells], k) =>
        assert.equal([name.replace(/, weight \d+$/, ''), ...cells].join('; '), wanted[k]),
    );
    assert.equal(rows.length, wanted.length, 'flows in the table');
}

// The table of dcfsim-trace.
export async function trace(tab, path, { load, trial, from, ticks }) {
    const range = ['--from', from, '--ticks', ticks, '--csv', `${path}.csv`];
    const args = [path, '--load', load, '--trial', trial, ...range].map(String);
    const { status, err } = await native(tab.world, 'dcfsim-trace', args);
    assert.equal(status, 0, err);
    return readFileSync(`${path}.csv`, 'utf8');
}

// The first load points of the first trial: they do not depend on how many follow.
export async function firstPoints(tab, text, number) {
    const experiment = JSON.parse(text);
    const loads = experiment.loads_kbps.slice(0, number);
    const shorter = JSON.stringify({ ...experiment, loads_kbps: loads, trials: 1 });
    return expectedPoints(await nativeRun(tab.world, shorter));
}

// Keeps in window.seen all points that are shown from now on, and with which experiment.
export async function record(tab) {
    await tab.page.evaluate(() => {
        window.seen = new Set();
        const told = () => JSON.stringify([window.dcfsim.experiment(), window.dcfsim.points()]);
        window.setInterval(() => window.seen.add(told()), 5);
    });
}

// Does something for each name; what fails is told in the end, with its name.
export async function all(names, work) {
    const wrong = [];
    for (const name of names) {
        await work(name).catch((error) => wrong.push(`${name}: ${error.message}`));
    }
    assert.ok(wrong.length === 0, wrong.join('\n'));
}

// Runs the cases that are named, or all: a line for each, and status 1 if one fails.
export async function runCases([build, page, ...chosen], cases) {
    assert.ok(build && page, 'BUILD-DIR and PAGE are wanted');
    const unknown = chosen.filter((name) => cases.every((work) => work.name !== name));
    assert.deepEqual(unknown, [], 'cases');
    const world = await openWorld(build, page);
    for (const work of cases.filter(({ name }) => chosen.length === 0 || chosen.includes(name))) {
        const begin = performance.now();
        const error = await withTab(world, '', work).catch((fault) => fault);
        const seconds = ((performance.now() - begin) / 1000).toFixed(1);
        const isGood = error === undefined;
        console.log(isGood ? `ok  ${work.name}, ${seconds} s` : told(work, seconds, error));
        process.exitCode ||= isGood ? 0 : 1;
    }
    await closeWorld(world);
}

const told = ({ name }, seconds, error) => `FAILED ${name}: ${error.message} (${seconds} s)`;
