// The runs of an experiment: a sketch, itself, and traces of it. Beginning anew ends those that go
// on; nothing of them is told any more.
import { Simulator, Stopped } from './engine.js';
import { sketchOf, writeExperiment } from './experiment.js';

const MOST_STARTS = 2000; // of 10 kB each
const NAME = 'experiment'; // in messages

const encoder = new TextEncoder();

export class Runs {
    #sketcher = new Simulator(); // runs a short one first
    #runner = new Simulator(); // runs it whole
    #tracer = new Simulator(); // stands at a tick of it
    #hears;
    #experiment = null;
    #isTraced = false; // the tracer has the experiment
    #starts = []; // by load point that the run has passed: where a trace can begin
    #begin = 0;
    files = null; // results by name, once all is run
    times = {}; // seconds from the beginning to the first curve and to the end

    // `hears` has what is told: point(point, stage), share(part of the whole run), ended(ms) and
    // failed(message).
    constructor(hears) {
        this.#hears = hears;
    }

    // Runs an experiment: a short one at some loads to see at once what is coming, and itself.
    begin(experiment) {
        this.stop();
        if (experiment !== this.#experiment) {
            this.stopTrace();
        }
        this.#experiment = experiment;
        this.files = null;
        this.times = {};
        this.#starts = [undefined];
        this.#begin = performance.now();
        this.#sketch(experiment);
        this.#runWhole(experiment);
    }

    stop() {
        this.#sketcher.stop();
        this.#runner.stop();
    }

    stopTrace() {
        this.#isTraced = false;
        this.#tracer.stop();
    }

    // Asks the tracer for a work of worker.js. What it tells on the way goes to `tell`.
    async trace(work, request, tell) {
        await this.#openTrace();
        const { trial, index } = request;
        const start = this.#starts[trial * this.#experiment.loads_kbps.length + index];
        return this.#tracer.ask(work, { ...request, start }, tell);
    }

    #note(name) {
        this.times[name] ??= (performance.now() - this.#begin) / 1000;
    }

    #request(experiment) {
        return { bytes: encoder.encode(writeExperiment(experiment)), name: NAME };
    }

    async #sketch(experiment) {
        const show = ({ point }) => {
            if (point !== undefined) {
                const index = experiment.loads_kbps.indexOf(point.load_kbps);
                this.#hears.point({ ...point, index }, 'preview');
                this.#note('first');
            }
        };
        try {
            await this.#sketcher.ask('run', this.#request(sketchOf(experiment)), show);
            this.#sketcher.stop(); // its memory is not needed any more
        } catch {
            // The run itself tells what is wrong.
        }
    }

    async #runWhole(experiment) {
        const show = ({ share, point, next }) => {
            if (share !== undefined) {
                this.#hears.share(share);
            }
            if (point !== undefined) {
                if (this.#starts.length < MOST_STARTS) {
                    this.#starts.push(next);
                }
                this.#note('first');
                this.#hears.point(point, 'exact');
            }
        };
        const request = { ...this.#request(experiment), keeps: true };
        try {
            const { files } = await this.#runner.ask('run', request, show);
            this.files = files;
            this.#note('all');
            this.#runner.stop();
            this.#hears.ended(this.times.all * 1000);
        } catch (error) {
            if (!(error instanceof Stopped)) {
                this.#hears.failed(error.message);
            }
        }
    }

    // Opens the experiment in the tracer, unless it is there.
    async #openTrace() {
        if (this.#isTraced && this.#tracer.isBegun) {
            return;
        }
        const experiment = this.#experiment;
        this.#isTraced = true;
        try {
            await this.#tracer.ask('openTrace', {
                ...this.#request(experiment),
                loads: experiment.loads_kbps.length,
                ticks: Number(experiment.ticks),
            });
        } catch (error) {
            this.#isTraced &&= this.#experiment !== experiment; // an other one may be open by now
            throw error;
        }
    }
}
