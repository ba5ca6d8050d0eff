// Experiments as texts and as objects. Integers beyond 2^53 are BigInt, so that nothing that is
// opened comes out changed.
import { unzlibSync, zlibSync } from 'fflate';

// Texts are passed over, long integers marked, but no long fractions; the mark cannot stand in a
// text.
const TOKENS = /"(?:[^"\\]|\\.)*"|(?<![\d.])-?\d{16,}(?![\d.eE])/g;
const MARK = '\u0000';

// Parses a text that the simulator has taken.
export function parseExperiment(text) {
    const marked = text.replace(TOKENS, (token) =>
        token.startsWith('"') ? token : `"\\u0000${token}"`,
    );
    return JSON.parse(marked, (key, value) =>
        typeof value === 'string' && value.startsWith(MARK) ? narrow(value.slice(1)) : value,
    );
}

function narrow(digits) {
    const number = Number(digits);
    return Number.isSafeInteger(number) ? number : BigInt(digits);
}

// The text of an experiment file: a member in a line each, as the programs write it.
export function writeExperiment(experiment) {
    const members = Object.entries(experiment).map(
        ([key, value]) => `    ${JSON.stringify(key)}: ${valueText(value)}`,
    );
    return `{\n${members.join(',\n')}\n}\n`;
}

function valueText(value) {
    if (typeof value === 'bigint') {
        return value.toString();
    }
    if (Array.isArray(value)) {
        return `[${value.map(valueText).join(', ')}]`;
    }
    if (value !== null && typeof value === 'object') {
        const members = Object.entries(value).map(([key, member]) => [
            JSON.stringify(key),
            valueText(member),
        ]);
        return `{${members.map((member) => member.join(': ')).join(', ')}}`;
    }
    return JSON.stringify(value);
}

// The flows that results tell of: those with the same ends are one, with all their weight.
export function joinFlows(flows) {
    const joined = new Map();
    for (const { from, to, weight = 1 } of flows) {
        const ends = `${from}>${to}`;
        joined.set(ends, { from, to, weight: weight + (joined.get(ends)?.weight ?? 0) });
    }
    return [...joined.values()];
}

// A shorter one at fewer loads, which is run before the experiment itself: seconds become tenths.
export function sketchOf(experiment) {
    const SHORTER = 20;
    const LEAST_TICKS = 400_000;
    const MOST_LOADS = 8;
    const ticks = Number(experiment.ticks);
    const length = Math.min(ticks, Math.max(Math.round(ticks / SHORTER), LEAST_TICKS));
    const scaled = (tick) => Math.min(Math.floor((Number(tick) / ticks) * length), length - 1);
    const loads = experiment.loads_kbps;
    const number = Math.min(loads.length, MOST_LOADS);
    const step = (loads.length - 1) / Math.max(number - 1, 1);
    return {
        ...experiment,
        trials: 1,
        ticks: length,
        window: experiment.window.map(scaled),
        loads_kbps: Array.from({ length: number }, (_, i) => loads[Math.round(i * step)]),
    };
}

// What stands in the address behind the #: the text, compressed and with a check sum, in letters
// that need no escape.
export function encodeLink(text) {
    const bytes = zlibSync(new TextEncoder().encode(text), { level: 9 });
    const letters = btoa(String.fromCharCode(...bytes));
    return letters.replaceAll('+', '-').replaceAll('/', '_').replace(/=+$/, '');
}

// The bytes that a link holds; throws an Error where it is cut short or changed.
export function decodeLink(link) {
    try {
        const letters = link.replaceAll('-', '+').replaceAll('_', '/');
        const bytes = Uint8Array.from(atob(letters), (letter) => letter.charCodeAt(0));
        const text = unzlibSync(bytes);
        // The check sum is not looked at by all versions of the library, so here: what is written
        // again has to be the same.
        if (encodeLink(new TextDecoder().decode(text)) !== link) {
            throw new Error();
        }
        return text;
    } catch {
        throw new Error('The link is not whole: copy it again, with all that stands behind the #');
    }
}
