// Lets node load the page's modules: bare names mean what the import map of index.html says.
import { readFileSync } from 'node:fs';
import { register } from 'node:module';

const html = readFileSync(new URL('../../web/index.html', import.meta.url), 'utf8');
const map = JSON.parse(/<script type="importmap">([^]*?)<\/script>/.exec(html)[1]);
const top = new URL('../../', import.meta.url);
const names = Object.entries(map.imports).map(([name, path]) => [name, new URL(`.${path}`, top).href]);

register('./support/resolve.mjs', import.meta.url, { data: Object.fromEntries(names) });
