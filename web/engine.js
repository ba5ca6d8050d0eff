// The workers as the page sees them: works that are asked for and answered, and can be given up.

// Rejected with where the work is given up; nobody is told of it.
export class Stopped extends Error {}

function embedded(id) {
    return document.getElementById(id).textContent;
}

// A plain loop: a call for each of a million bytes would hold up the first picture.
function decode(text) {
    const binary = atob(text);
    const bytes = new Uint8Array(binary.length);
    for (let i = 0; i < bytes.length; i += 1) {
        bytes[i] = binary.charCodeAt(i);
    }
    return bytes;
}

let workerAddress = null;
let wasm = null;

function makeWorker() {
    if (workerAddress === null) {
        const code = new Blob([embedded('worker-code')], { type: 'text/javascript' });
        workerAddress = URL.createObjectURL(code);
        wasm = decode(embedded('simulator-code'));
    }
    return new Worker(workerAddress);
}

// A simulator in a worker that is begun when there is work, and ended when its work is given up.
export class Simulator {
    #worker = null;
    #works = new Map(); // by number: {resolve, reject, tell}
    #last = 0;

    // Does a work of worker.js behind those asked for before. Parts of the answer go to `tell`.
    ask(work, request, tell = () => {}) {
        this.#last += 1;
        const id = this.#last;
        const message = { id, work, request };
        if (this.#worker === null) {
            this.#worker = makeWorker();
            this.#worker.onmessage = ({ data }) => this.#hear(data);
            this.#worker.onerror = (event) => this.stop(new Error(event.message));
            message.wasm = wasm;
        }
        return new Promise((resolve, reject) => {
            this.#works.set(id, { resolve, reject, tell });
            this.#worker.postMessage(message);
        });
    }

    // Gives up all works, at once.
    stop(reason = new Stopped('stopped')) {
        this.#worker?.terminate();
        this.#worker = null;
        const works = [...this.#works.values()];
        this.#works.clear();
        for (const work of works) {
            work.reject(reason);
        }
    }

    get isBegun() {
        return this.#worker !== null;
    }

    #hear(data) {
        const work = this.#works.get(data.id); // none: it was given up
        if (work !== undefined && data.isBroken) {
            this.stop(new Error(data.error)); // the next work begins with another one
        } else if (work !== undefined && data.part !== undefined) {
            work.tell(data.part);
        } else if (work !== undefined) {
            this.#works.delete(data.id);
            if (data.error === undefined) {
                work.resolve(data.answer);
            } else {
                work.reject(new Error(data.error));
            }
        }
    }
}
