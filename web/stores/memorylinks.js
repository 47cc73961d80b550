// How the notes of a project hang together: pure readings of the list that the bridge gives.

/**
 * @typedef {object} Note
 * @property {string} file
 * @property {string} name
 * @property {string} description
 * @property {string} type
 * @property {string} modified as its writer put it
 * @property {number} bytes
 * @property {boolean} isIndex
 * @property {string[]} links
 */

/** @param {any} entry @returns {Note} */
export function readNote(entry) {
  const text = (/** @type {string} */ key) => (typeof entry?.[key] === 'string' ? entry[key] : '');
  return {
    file: text('file'),
    name: text('name'),
    description: text('description'),
    type: text('type'),
    modified: text('modified'),
    bytes: typeof entry?.bytes === 'number' ? entry.bytes : 0,
    isIndex: entry?.isIndex === true,
    links: Array.isArray(entry?.links) ? entry.links.filter((/** @type {unknown} */ link) => typeof link === 'string') : [],
  };
}

/** A link names a note by its name or its file, in any case, with or without the ending. @param {string} text */
const key = (text) =>
  text
    .trim()
    .toLowerCase()
    .replace(/\.md$/, '');

/**
 * The note that a link leads to, null for one that is not there.
 * @param {readonly Note[]} notes
 * @param {string} link
 */
export function targetOf(notes, link) {
  const wanted = key(link.split('|')[0]);
  return notes.find(({ file }) => key(file) === wanted) ?? notes.find(({ name }) => key(name) === wanted) ?? null;
}

/**
 * @param {readonly Note[]} notes
 * @param {string} file
 * @returns {Note[]} those that link to it
 */
export function backlinks(notes, file) {
  return notes.filter((note) => note.file !== file && note.links.some((link) => targetOf(notes, link)?.file === file));
}

/**
 * Notes that nothing leads to. The index is the way in, and needs none.
 * @param {readonly Note[]} notes
 */
export function orphans(notes) {
  return notes.filter(({ file, isIndex }) => !isIndex && backlinks(notes, file).length === 0);
}

/**
 * Links that lead nowhere.
 * @param {readonly Note[]} notes
 */
export function brokenLinks(notes) {
  return notes.flatMap((note) =>
    note.links.filter((link) => !targetOf(notes, link)).map((link) => ({ from: note.file, link })),
  );
}

/**
 * Every word must be in the name, the description, the type or the file's name.
 * @param {readonly Note[]} notes
 * @param {string} query
 */
export function matching(notes, query) {
  const words = query.toLowerCase().split(/\s+/).filter(Boolean);
  return notes.filter(({ name, description, type, file }) => {
    const text = `${name}\n${description}\n${type}\n${file}`.toLowerCase();
    return words.every((word) => text.includes(word));
  });
}

/** No note speaks of more files than this. */
const kPaths = 20;

/**
 * Files of the project that a note speaks of: what stands in code marks and looks like a path.
 * @param {string} text
 */
export function pathsIn(text) {
  const found = new Set();
  for (const [, code] of text.matchAll(/`([^`\n]+)`/g)) {
    const path = code.replace(/^\.\//, '').replace(/:\d+(-\d+)?$/, '');
    if (/^[\w.@+-]+(\/[\w.@+-]+)+$/.test(path) && !path.split('/').includes('..')) found.add(path);
    if (found.size === kPaths) break;
  }
  return [...found];
}

/**
 * Whether the code was changed after the note was; false where a date cannot be read.
 * @param {string} modified of the note
 * @param {number} committed when the code was committed last, in milliseconds
 */
export function isOlder(modified, committed) {
  // A day of grace: notes carry dates, and commits carry times.
  return committed - Date.parse(modified) > 24 * 60 * 60 * 1000;
}

/**
 * Places on a circle with the index in its middle, in a square of side 1.
 * @param {readonly Note[]} notes
 * @returns {{nodes: {note: Note, x: number, y: number}[], edges: {from: number, to: number}[]}}
 */
export function graphOf(notes) {
  const around = notes.filter(({ isIndex }) => !isIndex).length;
  let at = 0;
  const nodes = notes.map((note) => {
    if (note.isIndex) return { note, x: 0.5, y: 0.5 };
    const angle = (2 * Math.PI * at++) / around - Math.PI / 2;
    return { note, x: 0.5 + 0.4 * Math.cos(angle), y: 0.5 + 0.4 * Math.sin(angle) };
  });
  const edges = notes.flatMap((note, from) =>
    note.links.flatMap((link) => {
      const target = targetOf(notes, link);
      const to = target ? notes.indexOf(target) : -1;
      return to < 0 || to === from ? [] : [{ from, to }];
    }),
  );
  return { nodes, edges };
}
