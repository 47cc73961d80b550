// A disk in memory for tests of local versions, with the habits of the bridge: writing needs the folder, and
// listing or reading what is not there fails.

/** @param {string[]} roots */
export function makeDisk(roots = ['p']) {
  /** @type {Map<string, Uint8Array>} */
  const files = new Map();
  const folders = new Set(roots);
  /** What was asked, in words. @type {string[]} */
  const asked = [];
  const parent = (path) => path.slice(0, path.lastIndexOf('/'));
  const needs = (there, words) => {
    if (!there) throw new Error(words);
  };
  const below = (path, folder) => path.startsWith(`${folder}/`);
  const ports = {
    list: async (folder) => {
      asked.push(`list ${folder}`);
      needs(folders.has(folder), `cannot list: ${folder}`);
      const entry = (path, directory) => ({ name: path.slice(folder.length + 1), path, directory, size: files.get(path)?.length ?? 0 });
      return [
        ...[...folders].filter((path) => path.includes('/') && parent(path) === folder).map((path) => entry(path, true)),
        ...[...files.keys()].filter((path) => parent(path) === folder).map((path) => entry(path, false)),
      ];
    },
    read: async (path) => {
      asked.push(`read ${path}`);
      needs(files.has(path), 'file not found');
      return files.get(path);
    },
    write: async (path, bytes) => {
      asked.push(`write ${path}`);
      needs(folders.has(parent(path)), `cannot write ${path}`);
      files.set(path, bytes);
    },
    makeFolder: async (folder) => {
      asked.push(`folder ${folder}`);
      for (let path = folder; path.includes('/'); path = parent(path)) folders.add(path);
    },
    move: async (from, to) => {
      asked.push(`move ${from} ${to}`);
      const moved = (path) => to + path.slice(from.length);
      for (const [path, bytes] of [...files]) if (below(path, from) && files.delete(path)) files.set(moved(path), bytes);
      for (const path of [...folders]) if ((path === from || below(path, from)) && folders.delete(path)) folders.add(moved(path));
    },
    trash: async (path) => {
      asked.push(`trash ${path}`);
      for (const file of [...files.keys()]) if (below(file, path)) files.delete(file);
      for (const folder of [...folders]) if (folder === path || below(folder, path)) folders.delete(folder);
    },
  };
  return { files, folders, asked, ports };
}
