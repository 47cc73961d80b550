// A document as the text editor makes it, without the editor: one line end, versions that undo brings back.

/** @param {string} start @returns {import('../../../web/stores/buffers.js').TextDocument & {edit: Function, undo: Function}} */
export function makeDocument(start, eol = '\n') {
  let lines = start.split(/\r\n|\r|\n/);
  let end = eol;
  let version = 1;
  let last = 1;
  const undo = [];
  const listeners = new Set();
  const tell = (changes) => [...listeners].forEach((fn) => fn(changes));
  const put = (startLine, endLine, text) => {
    undo.push({ lines, end, version });
    const typed = text.split(/\r\n|\r|\n/);
    const head = [...typed];
    head[0] = lines[startLine - 1] + head[0];
    lines = [...lines.slice(0, startLine - 1), ...head, ...lines.slice(endLine)];
    version = ++last;
    tell([{ startLine, endLine, text }]);
  };
  return {
    text: () => lines.join(end),
    lines: () => lines,
    version: () => version,
    eol: () => end,
    setEol: (next) => {
      if (next === end) return;
      undo.push({ lines, end, version });
      end = next;
      version = ++last;
      tell([]);
    },
    setText: (text) => {
      const before = lines.length;
      undo.push({ lines, end, version });
      lines = text.split(/\r\n|\r|\n/);
      version = ++last;
      tell([{ startLine: 1, endLine: before, text }]);
    },
    setLanguage: () => {},
    onChange: (fn) => {
      listeners.add(fn);
      return () => listeners.delete(fn);
    },
    dispose: () => listeners.clear(),
    /** Puts text behind a line's, up to the end of another. */
    edit: put,
    undo: () => {
      const before = lines.length;
      ({ lines, end, version } = undo.pop());
      tell([{ startLine: 1, endLine: before, text: lines.join('\n') }]);
    },
  };
}
