#!/usr/bin/env node
// Draws docs/page.png: the page with hidden senders, a chosen station, and a frame's story.
//     web/build && scripts/draw-page.mjs
import { createRequire } from 'node:module';
import { dirname, join } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';

const ROOT = dirname(dirname(fileURLToPath(import.meta.url)));
const puppeteer = createRequire(join(ROOT, 'web/'))('puppeteer-core');

async function press(tab, testid, key) {
    await tab.evaluate((id) => document.querySelector(`[data-testid=${id}]`).focus(), testid);
    await tab.keyboard.press(key);
}

async function main() {
    const browser = await puppeteer.launch({
        executablePath: '/usr/bin/chromium',
        args: ['--no-sandbox', '--force-color-profile=srgb'],
        defaultViewport: { width: 1280, height: 800 },
    });
    try {
        const tab = await browser.newPage();
        await tab.goto(pathToFileURL(join(ROOT, 'build/web/dcfsim.html')).href);
        await tab.select('[data-testid=preset]', 'example-hidden');
        await tab.waitForFunction(
            () =>
                window.dcfsim.experiment().includes('every receiver but the last') &&
                window.dcfsim.files() !== null,
        );
        await press(tab, 'station-0', 'Enter');
        await tab.click('[data-testid=timeline-next-collision]');
        await tab.waitForFunction(() =>
            document
                .querySelector('[data-testid=timeline-status]')
                .textContent.includes('collision at station'),
        );
        await press(tab, 'timeline-canvas', ']');
        await tab.waitForSelector('[data-testid=timeline-story] li');
        await tab.screenshot({ path: join(ROOT, 'docs/page.png'), fullPage: true });
    } finally {
        await browser.close();
    }
}

main().catch((error) => {
    process.stderr.write(`scripts/draw-page.mjs: ${error.message}\n`);
    process.exitCode = 1;
});
