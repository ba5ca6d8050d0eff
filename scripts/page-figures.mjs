#!/usr/bin/env node
// Measures the page in a headless browser beside the program, in turn, and prints the figures as
// JSON. Times are medians, in seconds.
//     scripts/page-figures.mjs BUILD [--short]        BUILD: where the programs are, build/release
import { execFileSync } from 'node:child_process';
import { mkdtempSync, rmSync, statSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';

const ROOT = dirname(dirname(fileURLToPath(import.meta.url)));
const PAGE = join(ROOT, 'build/web/dcfsim.html');
const puppeteer = createRequire(join(ROOT, 'web/'))('puppeteer-core');
const LONGEST = 600_000; // ms that a run may take

// Opens the experiment of a file in a page in a fresh browser. Returns the seconds that the page
// took for the first curve and for all.
async function timePage(file) {
    const browser = await puppeteer.launch({
        executablePath: '/usr/bin/chromium',
        args: ['--no-sandbox'],
    });
    try {
        const tab = await browser.newPage();
        await tab.goto(pathToFileURL(PAGE).href);
        await tab.waitForFunction(() => window.dcfsim.files() !== null);
        const input = await tab.$('[data-testid=file]');
        await input.uploadFile(file);
        await tab.waitForFunction(
            (text) => window.dcfsim.experiment().includes(text),
            {},
            '"seed": 7,',
        );
        await tab.waitForFunction(() => window.dcfsim.files() !== null, { timeout: LONGEST });
        return await tab.evaluate(() => window.dcfsim.times());
    } finally {
        await browser.close();
    }
}

function timeProgram(build, file, scratch) {
    const begin = performance.now();
    execFileSync(join(build, 'dcfsim-experiment'), [file, '--out', join(scratch, 'out')], {
        stdio: 'ignore',
    });
    return (performance.now() - begin) / 1000;
}

function median(values) {
    return [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
}

async function main(build, isShort) {
    const scratch = mkdtempSync(join(tmpdir(), 'dcfsim-page-'));
    const file = join(scratch, 'published.json');
    const short = { trials: 1, ticks: 400_000, window: [100_000, 400_000] };
    writeFileSync(file, JSON.stringify({ seed: 7, ...(isShort ? short : {}) }));
    const rounds = [];
    try {
        for (let i = 0; i < (isShort ? 1 : 3); i += 1) {
            const { first, all } = await timePage(file);
            rounds.push({ first, all, program: timeProgram(build, file, scratch) });
        }
    } finally {
        rmSync(scratch, { recursive: true });
    }
    const seconds = (key) => median(rounds.map((round) => round[key]));
    const figures = {
        bytes: statSync(PAGE).size,
        first_s: seconds('first'),
        all_s: seconds('all'),
        ratio: median(rounds.map(({ all, program }) => all / program)),
    };
    process.stdout.write(`${JSON.stringify(figures)}\n`);
}

main(resolve(process.argv[2]), process.argv[3] === '--short').catch((error) => {
    process.stderr.write(`scripts/page-figures.mjs: ${error.message}\n`);
    process.exitCode = 1;
});
