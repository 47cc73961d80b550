// Workspace paths as text: a root's name, then "/" and the way inside the root. Nothing here asks the disk.

/** @typedef {{name: string, path: string}} Root */

/**
 * The last component.
 * @param {string} path
 */
export function baseName(path) {
  return path.slice(path.lastIndexOf('/') + 1);
}

/**
 * The folder that holds the path; "" for a root.
 * @param {string} path
 */
export function parentOf(path) {
  const slash = path.lastIndexOf('/');
  return slash < 0 ? '' : path.slice(0, slash);
}

/**
 * @param {string} folder
 * @param {string} name
 */
export function joinPath(folder, name) {
  return folder ? `${folder}/${name}` : name;
}

/**
 * The name of the root that a path belongs to.
 * @param {string} path
 */
export function rootOf(path) {
  const slash = path.indexOf('/');
  return slash < 0 ? path : path.slice(0, slash);
}

/** @param {string} path */
export function isRoot(path) {
  return path !== '' && !path.includes('/');
}

/**
 * True for the folder itself and everything below it.
 * @param {string} path
 * @param {string} folder
 */
export function isInside(path, folder) {
  return path === folder || path.startsWith(`${folder}/`);
}

/**
 * Where a path stands after `from` was renamed to `to`; the path itself when it was not touched.
 * @param {string} path
 * @param {string} from
 * @param {string} to
 */
export function relabel(path, from, to) {
  return isInside(path, from) ? to + path.slice(from.length) : path;
}

/**
 * The absolute path, or "" when no root has the name.
 * @param {readonly Root[]} roots
 * @param {string} path
 */
export function absolutePath(roots, path) {
  const name = rootOf(path);
  const root = roots.find((each) => each.name === name);
  if (!root) return '';
  const rest = path.slice(name.length);
  return root.path === '/' && rest ? rest : root.path + rest;
}

/**
 * The workspace path of an absolute one, or "" when it lies outside every root. The first root wins,
 * as on the native side, so a nested root resolves to the earlier one.
 * @param {readonly Root[]} roots
 * @param {string} absolute
 */
export function workspacePath(roots, absolute) {
  for (const root of roots) {
    if (absolute === root.path) return root.name;
    const prefix = root.path === '/' ? '/' : `${root.path}/`;
    if (absolute.startsWith(prefix)) return joinPath(root.name, absolute.slice(prefix.length));
  }
  return '';
}

/**
 * Why a name cannot be given, or "". Slashes are allowed where `nested` says so: they make folders.
 * @param {string} name
 * @param {Iterable<string>} siblings names that are taken
 * @param {{nested?: boolean}} [options]
 */
export function nameProblem(name, siblings, options = {}) {
  if (name.trim() === '') return 'A name is needed.';
  if (name.includes('\0')) return 'A name cannot hold a NUL character.';
  const parts = name.split('/');
  if (parts.length > 1 && !options.nested) return 'A name cannot hold a slash.';
  if (parts.some((part) => part === '')) return 'A folder name is missing beside a slash.';
  if (parts.some((part) => part === '.' || part === '..')) return `"${name}" is not a name.`;
  // The bridge reads a backslash as a slash, so such a name would land in another folder.
  if (name.includes('\\')) return 'A name cannot hold a backslash.';
  for (const taken of siblings) {
    if (taken === parts[0] && parts.length === 1) return `"${name}" exists already.`;
  }
  return '';
}

/**
 * How much of a name a rename box selects: all before the extension.
 * @param {string} name
 * @param {boolean} directory
 */
export function stemLength(name, directory) {
  const dot = name.lastIndexOf('.');
  return directory || dot <= 0 ? name.length : dot;
}

/**
 * Only the outermost of several paths: acting on a folder acts on what it holds.
 * @param {readonly string[]} paths
 */
export function outermost(paths) {
  const unique = [...new Set(paths)];
  return unique.filter((path) => !unique.some((other) => other !== path && isInside(path, other)));
}

/**
 * What tells tabs of one name apart: as few parent folders as it takes.
 * @param {readonly string[]} paths
 * @returns {Map<string, string>} path to its hint; "" where the name alone is enough
 */
export function tabHints(paths) {
  /** @type {Map<string, string>} */
  const hints = new Map();
  for (const path of paths) {
    const rivals = paths.filter((other) => other !== path && baseName(other) === baseName(path));
    hints.set(path, rivals.length === 0 ? '' : shortestHint(path, rivals));
  }
  return hints;
}

/**
 * @param {string} path
 * @param {readonly string[]} rivals
 */
function shortestHint(path, rivals) {
  const folders = parentOf(path).split('/');
  for (let depth = 1; depth <= folders.length; depth++) {
    const hint = folders.slice(-depth).join('/');
    if (!rivals.some((rival) => isInside(`/${parentOf(rival)}`.slice(-hint.length - 1), `/${hint}`)))
      return hint;
  }
  return parentOf(path);
}

/**
 * The workspace path that a relative link in a file points at, or "" when it leaves the root or is none.
 * @param {string} fromFile
 * @param {string} href
 * @returns {{path: string, fragment: string}}
 */
export function resolveLink(fromFile, href) {
  const nothing = { path: '', fragment: '' };
  if (/^[a-z][a-z0-9+.-]*:/i.test(href) || href.startsWith('//')) return nothing;
  const hash = href.indexOf('#');
  const fragment = hash < 0 ? '' : href.slice(hash + 1);
  const bare = (hash < 0 ? href : href.slice(0, hash)).replace(/\?.*$/, '');
  const decoded = decodeLenient(bare);
  if (decoded === '') return { path: fromFile, fragment };
  const root = rootOf(fromFile);
  // A leading slash counts from the root, as hosting sites read it.
  const start = decoded.startsWith('/') ? [] : parentOf(fromFile).split('/').slice(1);
  for (const part of decoded.split('/')) {
    if (part === '' || part === '.') continue;
    if (part !== '..') start.push(part);
    else if (start.pop() === undefined) return nothing;
  }
  return { path: [root, ...start].join('/'), fragment };
}

/** @param {string} text */
function decodeLenient(text) {
  try {
    return decodeURIComponent(text);
  } catch {
    return text; // a lone percent sign in a file name
  }
}
