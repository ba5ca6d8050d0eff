// A worker with a simulator in it. It is told one thing after the other and answers each; the main
// thread ends it in the middle of its work where nobody waits for that any more.
import { zipSync } from 'fflate';
import createSimulator from 'simulator';

const TRACE_SLICE = 2_000_000; // ticks between two reports of progress
const BLOCK_WORDS = 1 << 14; // of memory, 64 KiB
const KINDS = { collision: 0, drop: 1, timeout: 2 }; // SOUGHT of interface.h

let simulator = null;
let trace = null; // the trace that is open: settings of its experiment, and where it stands

// What is wrong with a request; after all other errors the simulator is not to be trusted.
class Refusal extends Error {}

function typesOf(values) {
    return values.map((value) => (typeof value === 'string' ? 'string' : 'number'));
}

function call(name, ...values) {
    return simulator.ccall(name, 'string', typesOf(values), values);
}

// Calls a function of interface.h that answers with JSON; what is wrong becomes a Refusal.
function ask(name, ...values) {
    const answer = JSON.parse(call(name, ...values));
    if (answer.error !== undefined) {
        throw new Refusal(answer.error);
    }
    return answer;
}

function number(name, ...values) {
    return simulator.ccall(name, 'number', typesOf(values), values);
}

// Reads an experiment. The name stands in messages, and is that of a file in an empty folder.
function open({ bytes, name }) {
    simulator.FS.writeFile(name, bytes);
    try {
        return ask('OpenExperiment', name);
    } finally {
        simulator.FS.unlink(name);
    }
}

function filesBelow(folder, prefix, files) {
    for (const name of simulator.FS.readdir(folder)) {
        const path = `${folder}/${name}`;
        if (name === '.' || name === '..') {
            continue;
        }
        if (simulator.FS.isDir(simulator.FS.stat(path).mode)) {
            filesBelow(path, `${prefix}${name}/`, files);
        } else {
            files[prefix + name] = simulator.FS.readFile(path);
        }
    }
    return files;
}

// Runs an experiment; tells of each load point as it is done. Returns the result files by name.
function run(request, tell) {
    open(request);
    ask('BeginRun', '/run');
    for (let more = true; more;) {
        const step = ask('StepRun');
        tell({ trial: step.trial, point: step.point, next: step.next });
        more = step.more;
    }
    ask('EndRun');
    return { files: request.keeps ? filesBelow('/run', '', {}) : null };
}

function isZero(block) {
    for (let i = 0; i < block.length; i += 1) {
        if (block[i] !== 0) {
            return false;
        }
    }
    return true;
}

function blocksOfMemory() {
    const words = new Int32Array(simulator.HEAPU8.buffer);
    const number = Math.ceil(words.length / BLOCK_WORDS);
    const blockAt = (i) => words.subarray(i * BLOCK_WORDS, (i + 1) * BLOCK_WORDS);
    return Array.from({ length: number }, (_, i) => blockAt(i));
}

// The whole state of the simulator is its memory (interface.h). Most of that is room for packets
// that has never been used: blocks of zeros are neither kept nor written, which would double it.
function remember() {
    trace.memory = blocksOfMemory().map((block) => (isZero(block) ? null : block.slice()));
    trace.remembered = trace.entered;
}

function goBack() {
    blocksOfMemory().forEach((block, i) => {
        const kept = trace.memory[i] ?? null; // none: the memory has grown since
        if (kept !== null) {
            block.set(kept);
        } else if (!isZero(block)) {
            block.fill(0);
        }
    });
    trace.entered = trace.remembered;
}

function runTo(until, tell, done, all) {
    for (let tick = number('ClockTick'); tick < until; tick = number('ClockTick')) {
        number('RunTo', Math.min(tick + TRACE_SLICE, until));
        tell({ share: (done + number('ClockTick')) / all });
    }
}

function openTrace(request) {
    open(request);
    if (number('BeginTrace') === 0) {
        throw new Refusal('memory is short');
    }
    trace = { ...request, entered: 0, remembered: 0 };
    remember();
    return {};
}

// Enters the load point that is entered as number `wanted`: from its start, if a run has told that,
// else from those before it, as the random numbers go on from one to the next.
function enter(wanted, { start, tick }, tell) {
    if (start !== undefined) {
        trace.entered = number('EnterLoadPointFrom', wanted - 1, start);
    } else if (wanted <= trace.entered) {
        openTrace(trace);
    }
    const all = (wanted - 1) * trace.ticks + tick;
    while (trace.entered < wanted) {
        if (trace.entered > 0) {
            runTo(trace.ticks, tell, (trace.entered - 1) * trace.ticks, all);
        }
        trace.entered = number('EnterLoadPoint');
    }
    remember();
}

// Goes to a tick of a load point: back to its beginning, where that is remembered.
function goTo(request, tell) {
    const { trial, index, tick } = request;
    const wanted = trial * trace.loads + index + 1; // load points entered by then
    if (wanted !== trace.remembered) {
        enter(wanted, request, tell);
    } else if (number('ClockTick') > tick) {
        goBack();
    }
    runTo(tick, tell, 0, tick);
}

function watch(request, tell) {
    goTo({ ...request, tick: request.from }, tell);
    const seen = ask('WatchTo', request.from + request.ticks);
    return { ...seen, trial: request.trial, index: request.index };
}

// The first tick behind `tick` in which something happens, null if it does not.
function find(request, tell) {
    const { kind, tick } = request;
    goTo({ ...request, tick: tick + 1 }, tell);
    let found = -1;
    while (found < 0 && number('ClockTick') < trace.ticks) {
        found = number('FindNext', KINDS[kind], number('ClockTick') + TRACE_SLICE);
        tell({ share: number('ClockTick') / trace.ticks });
    }
    return { tick: found < 0 ? null : found };
}

const WORKS = {
    open,
    run,
    openTrace,
    watch,
    find,
    tell: ({ frame }) => ({ sentences: ask('TellFrame', frame) }),
    table: () => ({ text: call('TraceTable') }),
    pack: ({ files }) => ({ zip: zipSync(files, { level: 6 }) }),
};

// What is handed over rather than copied: results may take hundreds of megabytes.
function buffersOf({ files, zip }) {
    return [...Object.values(files ?? {}), ...(zip ? [zip] : [])].map((bytes) => bytes.buffer);
}

async function start(wasm, tell) {
    simulator = await createSimulator({
        wasmBinary: wasm,
        locateFile: (name) => name,
        print: () => {},
        printErr: () => {},
        tellProgress: (share) => tell({ share }),
    });
    simulator.FS.mkdir('/experiment');
    simulator.FS.chdir('/experiment');
}

let starting = null; // the second request may come while the simulator is made
let current = 0; // the request that is worked at
const tell = (part) => self.postMessage({ id: current, part });

self.addEventListener('message', async ({ data }) => {
    try {
        starting ??= start(data.wasm, tell);
        await starting;
        current = data.id;
        const answer = WORKS[data.work](data.request, tell);
        self.postMessage({ id: data.id, answer }, buffersOf(answer));
    } catch (error) {
        const isBroken = !(error instanceof Refusal);
        const why = error.message ?? String(error);
        const told = isBroken ? `the simulator has failed; is memory short? (${why})` : why;
        self.postMessage({ id: data.id, error: told, isBroken });
    }
});
