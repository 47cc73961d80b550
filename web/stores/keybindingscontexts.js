// Conditions of key bindings ("editorTextFocus && !editorReadonly"): which are known, and what they mean once
// somebody says what holds. The names are those that people's files of key bindings use.

/**
 * The contexts that the page knows, and the place in which keys under them act: the same words as in a
 * command's `place`. Those without one say nothing of the focus.
 */
export const kContexts = Object.freeze({
  editorTextFocus: 'text',
  editorFocus: 'text',
  textInputFocus: 'text',
  editorReadonly: '',
  editorHasSelection: '',
  editorHasMultipleSelections: '',
  editorLangId: '',
  resourceLangId: '',
  editorIsOpen: '',
  isInDiffEditor: '',
  inputFocus: '',
  terminalFocus: 'terminal',
  filesExplorerFocus: 'explorer',
  explorerViewletFocus: 'explorer',
  searchViewletFocus: 'search',
  sideBarFocus: '',
  panelFocus: '',
  auxiliaryBarFocus: '',
  sideBarVisible: '',
  panelVisible: '',
  auxiliaryBarVisible: '',
});

/** What never changes in this program. @type {Record<string, boolean>} */
const kFixed = { isLinux: true, isMac: false, isWindows: false, isWeb: false, true: true, false: false };

/**
 * @typedef {keyof typeof kContexts} ContextName
 * @typedef {{name: ContextName, not: boolean, value?: string}} Term
 * @typedef {{any: Term[][], text: string}} When any of these holds when all its terms do; `text` is the one spelling
 */

const kTerm = /^(!?)\s*([\w.:-]+)(?:\s*(==|!=)\s*(?:'([^']*)'|"([^"]*)"|([\w.-]+)))?$/;

/**
 * @param {string} text
 * @returns {{when: When | null} | {reason: string}} null: it always holds
 */
export function parseWhen(text) {
  /** @type {Term[][]} */
  const any = [];
  for (const part of text.split('||')) {
    const read = readAll(part);
    if ('reason' in read) return read;
    if (!read.terms) continue; // never holds here
    if (!read.terms.length) return { when: null };
    any.push(read.terms);
  }
  if (!any.length) return { reason: `"${text.trim()}" never holds here` };
  return { when: { any, text: any.map((all) => all.map(termText).join(' && ')).join(' || ') } };
}

/**
 * @param {string} part terms that must all hold
 * @returns {{terms: Term[] | null} | {reason: string}} null: they never do
 */
function readAll(part) {
  /** @type {Term[]} */
  const terms = [];
  let never = false;
  for (const piece of part.split('&&')) {
    const found = kTerm.exec(piece.trim());
    if (!found) return { reason: `the condition "${piece.trim()}" is not understood` };
    const [, bang, name, sign, ...values] = found;
    const not = (bang === '!') !== (sign === '!=');
    if (Object.hasOwn(kFixed, name)) never ||= kFixed[name] === not;
    else if (!Object.hasOwn(kContexts, name)) return { reason: `the condition "${name}" is not known here` };
    else {
      const value = sign ? values.find((one) => one !== undefined) : undefined;
      terms.push({ name: /** @type {ContextName} */ (name), not, ...(value === undefined ? {} : { value }) });
    }
  }
  return { terms: never ? null : terms };
}

/** @param {Term} term */
function termText({ name, not, value }) {
  if (value === undefined) return `${not ? '!' : ''}${name}`;
  return `${name} ${not ? '!=' : '=='} ${value}`;
}

/**
 * @param {When} when
 * @param {(name: ContextName) => unknown} valueOf what a context is at the moment
 */
export const whenHolds = ({ any }, valueOf) =>
  any.some((all) =>
    all.every(({ name, not, value }) => {
      const now = valueOf(name);
      return (value === undefined ? Boolean(now) : now === value) !== not;
    }),
  );

/**
 * The one place in which a condition can hold; "" when it says nothing of that.
 * @param {When | null} when
 */
export function placeOfWhen(when) {
  const places = (when?.any ?? []).map((all) => all.map(({ name, not }) => (not ? '' : kContexts[name])).find(Boolean) ?? '');
  return places.every((place) => place === places[0]) ? (places[0] ?? '') : '';
}
