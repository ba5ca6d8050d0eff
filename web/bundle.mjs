// Puts the page together: one HTML file with style sheet, scripts, simulator and experiments in it.
//     node web/bundle.mjs FOLDER-OF-THE-SIMULATOR PAGE
import { build } from 'esbuild';
import { readFileSync, readdirSync, statSync, writeFileSync } from 'node:fs';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';

const LARGEST = 2_000_000; // bytes of the page
const WEB = dirname(fileURLToPath(import.meta.url));
const EXPERIMENTS = join(WEB, '..', 'experiments');

async function bundle(entry, simulatorFolder) {
    const result = await build({
        entryPoints: [join(WEB, entry)],
        bundle: true,
        minify: true,
        write: false,
        format: 'iife',
        target: 'es2022',
        outdir: '/',
        alias: { simulator: join(simulatorFolder, 'simulator.js') },
        external: ['fs', 'path', 'crypto'],
        define: { 'import.meta.url': '""' },
        logLevel: 'warning',
    });
    return result.outputFiles[0].text;
}

function readExperiments() {
    const names = readdirSync(EXPERIMENTS).filter((name) => name.endsWith('.json'));
    const sentences = JSON.parse(readFileSync(join(WEB, 'presets.json'), 'utf8'));
    const all = {};
    for (const [name, look] of Object.entries(sentences)) {
        const text = readFileSync(join(EXPERIMENTS, `${name}.json`), 'utf8');
        all[name] = { look, text };
    }
    for (const name of names) {
        if (all[name.replace('.json', '')] === undefined) {
            throw new Error(`web/presets.json: experiments/${name} has no sentences; add them`);
        }
    }
    return JSON.stringify(all);
}

// What stands inside a script element must not end it, nor begin a comment.
function insideScript(text) {
    return text.replaceAll('</script', '<\\/script').replaceAll('<!--', '<\\!--');
}

function insideJson(text) {
    return text.replaceAll('<', '\\u003c');
}

// Puts parts in place of their names, which stand as comment, text or in braces: as the formatter
// leaves them alone.
function fill(template, parts) {
    const PLACES = /\/\*\{([A-Z]+)\}\*\/|"\{([A-Z]+)\}"|\{\{([A-Z]+)\}\}/g;
    return template.replace(PLACES, (_, ...names) => parts[names[0] ?? names[1] ?? names[2]]);
}

async function main(simulatorFolder, page) {
    const wasm = readFileSync(join(simulatorFolder, 'simulator.wasm'));
    const html = fill(readFileSync(join(WEB, 'page.html'), 'utf8'), {
        STYLE: await bundle('page.css', simulatorFolder),
        MAIN: insideScript(await bundle('main.js', simulatorFolder)),
        WORKER: insideScript(await bundle('worker.js', simulatorFolder)),
        WASM: wasm.toString('base64'),
        EXPERIMENTS: insideJson(readExperiments()),
        SCHEMA: insideJson(readFileSync(join(WEB, '..', 'docs', 'experiment.schema.json'), 'utf8')),
    });
    writeFileSync(page, html);
    const { size } = statSync(page);
    if (size > LARGEST) {
        throw new Error(`${page}: ${size} bytes; allowed: ${LARGEST}`);
    }
}

const [folder, page] = process.argv.slice(2).map((path) => resolve(path));
main(folder, page).catch((error) => {
    process.stderr.write(`web/bundle.mjs: ${error.message}\n`);
    process.exitCode = 1;
});
