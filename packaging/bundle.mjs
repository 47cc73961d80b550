// Bundles the page for packages: node packaging/bundle.mjs OUT [--doors MODULE...]
//
// The page runs as it stands from web/; bundled it is the same page in a handful of files. OUT is replaced
// as a whole and holds index.html, one script with its lazy chunks, one style sheet, and each worker at its
// own address. vendor/ is served beside it: what is large and comes late stays there. A door is a module
// that stays to be had at its own address too, for tests that reach into the page.
import { existsSync, readdirSync, readFileSync, statSync } from 'node:fs';
import { mkdir, readFile, rm, writeFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { dirname, join, relative, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';

const top = join(dirname(fileURLToPath(import.meta.url)), '..');
const web = join(top, 'web');
const { build } = createRequire(join(top, 'vendor-src/package.json'))('esbuild');

/** Names of the import map that stay files of vendor/: they bring chunks and a worker of their own. */
const kServed = new Set(['monaco', 'xterm']);

const common = {
  absWorkingDir: web,
  outbase: web,
  bundle: true,
  minify: true,
  format: 'esm',
  target: 'safari17',
  charset: 'utf8',
  legalComments: 'none', // the whole licence texts lie in vendor/licences
  chunkNames: 'chunks/[name]-[hash]',
  logLevel: 'warning',
  metafile: true,
};

/** Finds the one match of a pattern that index.html must hold. */
function only(html, pattern) {
  const found = html.match(new RegExp(pattern.source, 'g')) ?? [];
  if (found.length !== 1) throw new Error(`index.html holds ${found.length} times ${pattern}`);
  return pattern.exec(html);
}

/** Bare names mean what the import map says: a file of vendor/ to take in, or one that is served. */
function importMap(names) {
  return {
    name: 'import map',
    setup(esbuild) {
      esbuild.onResolve({ filter: /^[^./]/ }, ({ path, kind }) => {
        if (kind === 'entry-point') return undefined;
        if (!(path in names)) throw new Error(`the import map does not know ${path}`);
        if (kServed.has(path)) return { path: names[path], external: true };
        return { path: join(top, names[path]) };
      });
    },
  };
}

/** The addresses that the page's modules start workers from. */
function workerAddresses() {
  const scripts = readdirSync(web, { recursive: true }).filter((name) => name.endsWith('.js'));
  const addresses = scripts.flatMap((name) => {
    const code = readFileSync(join(web, name), 'utf8');
    const started = [...code.matchAll(/new Worker\(/g)];
    const known = [...code.matchAll(/new Worker\(\s*'(\/[^']+)'/g)];
    if (started.length !== known.length) throw new Error(`web/${name} starts a worker without a plain address`);
    return known.map(([, address]) => address);
  });
  return [...new Set(addresses)].filter((address) => !address.startsWith('/vendor/'));
}

/** One style sheet from those of `look`, in the order of the page. */
async function bundleStyles(hrefs, out) {
  const contents = hrefs.map((href) => `@import ".${href}";`).join('\n');
  await build({
    ...common,
    stdin: { contents, resolveDir: web, loader: 'css' },
    outfile: join(out, 'page.css'),
  });
}

/** index.html for the bundle; everything that it says of the modules' own files is replaced. */
function rewrite(html, chunks) {
  const styles = only(html, /(?:<link rel="stylesheet" href="\/look\/[^"]+">\n)+/)[0];
  const map = only(html, /<script type="importmap">[^]*?<\/script>\n/)[0];
  // Without the map there is no inline script left that the policy has to let through.
  const inline = only(html, / 'sha256-[^']+'/)[0];
  const main = only(html, /<script type="module" src="\/main.js"><\/script>\n/)[0];
  const preloads = chunks.map((path) => `<link rel="modulepreload" href="/${path}">\n`).join('');
  return html
    .replace(styles, '<link rel="stylesheet" href="/page.css">\n')
    .replace(map, '')
    .replace(inline, '')
    .replace(main, preloads + main);
}

/** The outputs that an output needs before it runs, itself left out. */
function staticImports(outputs, start) {
  const found = new Set();
  const walk = (path) => {
    for (const { path: next, kind, external } of outputs[path].imports) {
      if (external || kind !== 'import-statement' || found.has(next)) continue;
      found.add(next);
      walk(next);
    }
  };
  walk(start);
  return [...found];
}

/** Every address below a folder of the page that a script or the document names must be a file. */
function checkAddresses(out) {
  const folders = readdirSync(web, { withFileTypes: true })
    .filter((entry) => entry.isDirectory())
    .map(({ name }) => name);
  const address = new RegExp(`["'\`](/(?:vendor|chunks|${folders.join('|')})/[\\w@./-]+\\.\\w+)["'\`]`, 'g');
  const files = readdirSync(out, { recursive: true }).filter((name) => /\.(js|html)$/.test(name));
  for (const name of files) {
    for (const [, path] of readFileSync(join(out, name), 'utf8').matchAll(address)) {
      const home = path.startsWith('/vendor/') ? top : out;
      if (!existsSync(join(home, path))) throw new Error(`${name} names ${path}, which is not there`);
    }
  }
  return files;
}

async function bundle(out, doors) {
  const html = await readFile(join(web, 'index.html'), 'utf8');
  const names = JSON.parse(only(html, /<script type="importmap">([^]*?)<\/script>/)[1]).imports;
  const hrefs = [...html.matchAll(/<link rel="stylesheet" href="(\/look\/[^"]+)">/g)].map(([, href]) => href);
  await rm(out, { recursive: true, force: true });
  await mkdir(out, { recursive: true });
  const plugins = [importMap(names)];
  const entryPoints = ['main.js', ...doors].map((name) => join(web, name));
  const { metafile } = await build({ ...common, plugins, entryPoints, splitting: true, outdir: out });
  // A worker is a file without imports: it loads no faster for being split.
  const workers = workerAddresses().map((address) => join(web, address));
  if (workers.length) await build({ ...common, plugins, entryPoints: workers, outdir: out });
  await bundleStyles(hrefs, out);
  // esbuild names outputs from its working folder.
  const main = relative(web, join(out, 'main.js'));
  const chunks = staticImports(metafile.outputs, main).map((path) => relative(out, resolve(web, path)));
  await writeFile(join(out, 'index.html'), rewrite(html, chunks));
  const scripts = checkAddresses(out).filter((name) => name.endsWith('.js'));
  const size = statSync(join(out, 'main.js')).size;
  const modules = Object.keys(metafile.inputs).length;
  console.log(
    `page: ${modules} modules in ${scripts.length} scripts, main.js ${Math.round(size / 1024)} KiB`,
  );
}

const [out, flag, ...doors] = process.argv.slice(2);
if (!out || (flag && flag !== '--doors')) {
  console.error('usage: node packaging/bundle.mjs OUT [--doors MODULE...]');
  process.exit(2);
}
await bundle(resolve(out), doors);
