// Bundles the third-party code of the page into ../vendor, with the licence of every package that
// went in. `node build.mjs` replaces the folder as a whole, so that nothing old stays in it.
import { build } from 'esbuild';
import { cp, mkdir, readFile, rename, rm, writeFile } from 'node:fs/promises';
import { readdirSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

const here = dirname(fileURLToPath(import.meta.url));
const vendor = join(here, '..', 'vendor');
const fresh = `${vendor}.new`;

const common = {
  absWorkingDir: here,
  outdir: fresh,
  bundle: true,
  minify: true,
  format: 'esm',
  target: 'safari17',
  charset: 'utf8',
  legalComments: 'none', // the whole licence texts lie in vendor/licences
  loader: { '.ttf': 'copy' },
  assetNames: '[name]',
  chunkNames: 'chunks/[name]-[hash]',
  logLevel: 'warning',
  metafile: true,
};

/** The packages whose files went into a bundle: package folder -> package.json. */
async function bundledPackages(metafiles) {
  const folders = new Set();
  for (const { outputs } of metafiles) {
    for (const { inputs } of Object.values(outputs)) {
      for (const path of Object.keys(inputs)) {
        const found = /^(.*node_modules\/(?:@[^/]+\/)?[^/]+)\//.exec(path);
        if (found) folders.add(found[1]);
      }
    }
  }
  const packages = [];
  for (const folder of [...folders].sort()) {
    packages.push([folder, JSON.parse(await readFile(join(here, folder, 'package.json'), 'utf8'))]);
  }
  return packages;
}

/** Packages that come without their licence, and the one of the same source tree that has it. */
const kLicenceIn = { '@xterm/addon-serialize': '@xterm/xterm' };

/** The texts of a package's licence. */
function licenceTexts(folder, name) {
  const home = name in kLicenceIn ? folder.replace(name, kLicenceIn[name]) : folder;
  const files = readdirSync(join(here, home)).filter((file) => /licen[cs]e|notice/i.test(file));
  if (!files.length) throw new Error(`${name} has no licence file: it must not be shipped`);
  return Promise.all(files.map((file) => readFile(join(here, home, file), 'utf8')));
}

/** Writes one text a package and the list that the About dialog shows. */
async function writeLicences(packages) {
  const list = [];
  await mkdir(join(fresh, 'licences'), { recursive: true });
  for (const [folder, { name, version, license }] of packages) {
    const texts = await licenceTexts(folder, name);
    const file = `${name.replace(/[@/]+/g, '-').replace(/^-/, '')}-${version}.txt`;
    await writeFile(join(fresh, 'licences', file), texts.join('\n\n'));
    list.push({ name, version, license, file });
  }
  await cp(join(here, 'codicon-licence.txt'), join(fresh, 'licences', 'codicon.txt'));
  list.push({ name: 'codicon font', version: '', license: 'CC-BY-4.0', file: 'codicon.txt' });
  list.sort((a, b) => (a.name < b.name ? -1 : 1));
  await writeFile(join(fresh, 'licences.json'), JSON.stringify(list, null, 1));
}

/** The icon set for the page's own use: the font's table as classes, ready before the editor is. */
async function writeIcons() {
  const base = join(here, 'node_modules/monaco-editor/esm/vs/base');
  const table = await readFile(join(base, 'common/codiconsLibrary.js'), 'utf8');
  const rows = [...table.matchAll(/register\('([\w-]+)', 0x([0-9a-f]+)\)/g)];
  if (rows.length < 400) throw new Error(`only ${rows.length} icons found in the font's table`);
  const classes = rows.map(([, name, code]) => `.codicon-${name}::before{content:"\\${code}"}`);
  const face = '@font-face{font-family:codicon;font-display:block;src:url(./codicon.ttf) format("truetype")}';
  await writeFile(join(fresh, 'codicon.css'), [face, ...classes, ''].join('\n'));
  await cp(join(base, 'browser/ui/codicons/codicon/codicon.ttf'), join(fresh, 'codicon.ttf'));
}

const started = performance.now();
await rm(fresh, { recursive: true, force: true });
const results = await Promise.all([
  build({
    ...common,
    splitting: true,
    entryPoints: ['ui.js', 'diff.js', 'markdown-it.js', 'dompurify.js', 'monaco.js', 'xterm.js', 'xterm.css'].map(
      (name) => `entries/${name}`,
    ),
  }),
  // Workers are started by address, so each is a file without imports.
  build({ ...common, entryPoints: ['entries/editor.worker.js'] }),
]);
await writeIcons();
await writeLicences(await bundledPackages(results.map((result) => result.metafile)));
await rm(vendor, { recursive: true, force: true });
await rename(fresh, vendor);
console.log(`vendor: built in ${((performance.now() - started) / 1000).toFixed(1)} s`);
