// Which files a list of patterns means: "src, *.js, web/**/*.css, {a,b}.txt".
//
// A pattern without a slash means every file and folder of that name; one with a slash begins at a root of
// the workspace, with or without the root's name. A folder means all that it holds.

/**
 * @param {string} list patterns with commas between them
 * @returns {((path: string) => boolean) | null} null for an empty list, which says nothing about any file
 */
export function pathTest(list) {
  const patterns = splitPatterns(list).map(patternTest);
  if (patterns.length === 0) return null;
  return (path) => patterns.some((fits) => fits(path));
}

/**
 * At commas, but not at those between braces.
 * @param {string} list
 */
function splitPatterns(list) {
  return (list.match(/(?:\{[^}]*\}|[^,])+/g) ?? []).map((pattern) => pattern.trim()).filter(Boolean);
}

/**
 * @param {string} pattern
 * @returns {(path: string) => boolean}
 */
function patternTest(pattern) {
  const clean = pattern.replace(/^\.?\/+/, '').replace(/\/+$/, '');
  const anywhere = !clean.includes('/') && !/^\.?\//.test(pattern);
  const body = globSource(clean);
  const whole = new RegExp(`^${anywhere ? '(?:.*/)?' : ''}${body}(?:/.*)?$`, 's');
  return (path) => {
    const inside = path.slice(path.indexOf('/') + 1);
    return whole.test(inside) || (!anywhere && whole.test(path));
  };
}

/**
 * The regular expression of a pattern.
 * @param {string} glob
 */
function globSource(glob) {
  const pieces = glob.match(/\*\*\/|\*\*|\*|\?|\[[^\]]+\]|\{[^}]*\}|[^]/g) ?? [];
  return pieces.map(pieceSource).join('');
}

/**
 * @param {string} piece
 * @returns {string}
 */
function pieceSource(piece) {
  if (piece === '**/') return '(?:.*/)?';
  if (piece === '**') return '.*';
  if (piece === '*') return '[^/]*';
  if (piece === '?') return '[^/]';
  if (piece.length > 2 && piece[0] === '[') return setSource(piece);
  if (piece.length > 1 && piece[0] === '{') {
    return `(?:${piece.slice(1, -1).split(',').map(globSource).join('|')})`;
  }
  return piece.replace(/[\\^$.*+?()[\]{}|]/, '\\$&');
}

/** @param {string} piece "[a-z]" or "[!a-z]" */
function setSource(piece) {
  const negated = /^[!^]/.test(piece.slice(1));
  const units = piece.slice(negated ? 2 : 1, -1).replace(/[\\^[\]]/g, '\\$&');
  try {
    const source = `[${negated ? '^/' : ''}${units}]`;
    new RegExp(source);
    return source;
  } catch {
    return piece.replace(/[\\^$.*+?()[\]{}|-]/g, '\\$&'); // a range the wrong way round stands for itself
  }
}
