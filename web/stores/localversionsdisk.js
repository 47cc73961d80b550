// Local versions on disk, below each root:
//
//   .marlin/history/obj/files.0 .1           which folder has the versions of which file, so that a rename is one line
//   .marlin/history/obj/<name>/index.0 .1    the versions of one file
//   .marlin/history/obj/<name>/7             the bytes of a version, as they stood in the file
//   .marlin/history/obj/.gitignore           leaves all of it out, also where nobody has set up the project
//
// Folders called "obj" are left out of the index, of the search for text and of the watch over the disk. Old texts of
// a file would else fill the list of hits, and each save be followed by the news of three more files.
//
// Files are never deleted one by one, since deleting goes to the user's Trash: a version that is dropped leaves a
// place for the next one, and one that the user deletes is emptied. The bridge writes in place, so a crash can cut
// short what is being written. Lists are therefore written in turn to two files, of which the newest whole one
// counts, and bytes only to a place that the list on disk does not name.
//
// Nothing is remembered between two calls: another window, or "git clean", may have been there meanwhile.

import { parseRecord, recordOf } from './chatwire.js';
import { isInside, joinPath, relabel, rootOf } from './paths.js';
import { serialQueue } from './saving.js';
import { bytesHash, mayKeep, readVersions, withText } from './localversions.js';

/**
 * @typedef {import('./localversions.js').Version} Version
 * @typedef {import('./localversions.js').KeptText} KeptText
 * @typedef {import('./tree.js').Entry} Entry
 *
 * @typedef {object} VersionPorts
 * @property {(folder: string) => Promise<Entry[]>} list
 * @property {(path: string) => Promise<Uint8Array>} read
 * @property {(path: string, bytes: Uint8Array<ArrayBuffer>) => Promise<unknown>} write makes the file, but not its folder
 * @property {(folder: string) => Promise<unknown>} makeFolder a folder that is there already is no failure
 * @property {(from: string, to: string) => Promise<unknown>} move
 * @property {(path: string) => Promise<unknown>} trash
 *
 * A list that is written in turn to two files.
 * @typedef {{path: string, serial: number, facts: Record<string, any>}} TwinFile
 *
 * @typedef {object} RootVersions
 * @property {string} root
 * @property {boolean} there whether its folder is
 * @property {Entry[]} entries
 * @property {TwinFile} list
 * @property {Map<string, string>} folders by the path of the file inside the root
 *
 * @typedef {{path: string, entries: Entry[], list: TwinFile, versions: Version[]}} FileVersions
 */

const kTop = '.marlin/history';
/** From the root down. */
const kSteps = ['.marlin', kTop, `${kTop}/obj`];
const kIgnoreAll = new TextEncoder().encode('*\n');
const kNothing = new Uint8Array();

/** @param {string} root */
export const versionsFolder = (root) => joinPath(root, `${kTop}/obj`);

/** @param {string} path */
const inRoot = (path) => path.slice(rootOf(path).length + 1);

export class LocalVersions {
  /** @param {VersionPorts} ports */
  constructor(ports) {
    this.ports = ports;
    this.queue = serialQueue();
  }

  /**
   * Keeps texts of a file, the oldest first.
   * @param {string} path
   * @param {readonly KeptText[]} texts
   * @returns {Promise<boolean>} whether there is another version now
   */
  keep(path, texts) {
    return this.inTurn(async () => {
      const fit = texts.filter(({ bytes }) => mayKeep(bytes));
      if (fit.length === 0) return false;
      const file = await this.openToWrite(path);
      const before = file.versions;
      for (const text of fit) await this.put(file, text, before);
      if (file.versions === before) return false;
      await this.writeList(file);
      return true;
    });
  }

  /** @param {string} path @returns {Promise<Version[]>} the oldest first */
  versions(path) {
    return this.inTurn(async () => (await this.open(path))?.versions ?? []);
  }

  /**
   * @param {string} path
   * @param {number} time of the version
   * @returns {Promise<{version: Version, bytes: Uint8Array}>}
   */
  read(path, time) {
    return this.inTurn(async () => {
      const file = await this.open(path);
      const version = file?.versions.find((one) => one.time === time);
      if (!file || !version) throw new Error('this version is no longer kept');
      const bytes = await this.ports.read(joinPath(file.path, String(version.slot)));
      const whole = bytes.length === version.size && bytesHash(bytes) === version.hash;
      if (!whole) throw new Error('this version was not written whole');
      return { version, bytes };
    });
  }

  /**
   * Deletes versions of a file for good.
   * @param {string} path
   * @param {(version: Version) => boolean} [chosen] all without it
   */
  remove(path, chosen = () => true) {
    return this.inTurn(async () => {
      const file = await this.open(path);
      if (!file) return;
      file.versions = file.versions.filter((version) => !chosen(version));
      await this.writeList(file);
      // Places that were left by versions that are no more may still have their bytes.
      const kept = new Set(file.versions.map(({ slot }) => String(slot)));
      const left = file.entries.filter(({ name, size }) => /^\d+$/.test(name) && size > 0 && !kept.has(name));
      for (const { path: place } of left) await this.ports.write(place, kNothing);
    });
  }

  /** Puts all versions of a root into the Trash, as one folder. @param {string} root */
  clear(root) {
    return this.inTurn(async () => {
      if ((await this.openRoot(root)).there) await this.ports.trash(joinPath(root, kTop));
    });
  }

  /**
   * The versions go along with a file, or all files of a folder. A file that had the new name earlier gives its own up.
   * @param {string} from
   * @param {string} to
   */
  renamed(from, to) {
    return this.inTurn(async () => {
      const source = await this.openRoot(rootOf(from));
      const moving = [...source.folders].filter(([path]) => isInside(joinPath(source.root, path), from));
      if (moving.length === 0) return;
      const same = rootOf(to) === source.root;
      const target = same ? source : await this.openRootToWrite(rootOf(to));
      for (const [path, folder] of moving) {
        const place = (/** @type {RootVersions} */ { root }) => joinPath(versionsFolder(root), folder);
        if (!same) await this.ports.move(place(source), place(target));
        source.folders.delete(path);
        target.folders.set(inRoot(relabel(joinPath(source.root, path), from, to)), folder);
      }
      if (!same) await this.writeFolders(target);
      await this.writeFolders(source);
    });
  }

  /** One thing after another, whatever it is about. @template T @param {() => Promise<T>} task */
  inTurn(task) {
    return this.queue('', task);
  }

  /**
   * Step by step, because listing what is not there is a failed request.
   * @param {string} root
   * @returns {Promise<RootVersions>}
   */
  async openRoot(root) {
    const folder = versionsFolder(root);
    let there = true;
    let entries = await this.ports.list(root);
    for (const step of kSteps) {
      there &&= has(entries, joinPath(root, step));
      entries = there ? await this.ports.list(joinPath(root, step)) : [];
    }
    const twin = await this.readTwin(joinPath(folder, 'files'), entries);
    const folders = Object.entries(recordOf(twin.facts.files)).filter(([, name]) => /^[0-9a-z]+$/.test(name));
    return { root, there, entries, list: twin, folders: new Map(folders) };
  }

  /** @param {string} root */
  async openRootToWrite(root) {
    const opened = await this.openRoot(root);
    const folder = versionsFolder(root);
    if (!opened.there) await this.ports.makeFolder(folder);
    const ignored = opened.entries.some(({ name }) => name === '.gitignore');
    if (!ignored) await this.ports.write(joinPath(folder, '.gitignore'), kIgnoreAll);
    return { ...opened, there: true };
  }

  /** @param {string} path @returns {Promise<FileVersions | null>} null where nothing was kept yet */
  async open(path) {
    return this.openFolder(await this.openRoot(rootOf(path)), path);
  }

  /** @param {RootVersions} root @param {string} path */
  async openFolder({ root, folders, entries }, path) {
    const name = folders.get(inRoot(path));
    const folder = joinPath(versionsFolder(root), name ?? '');
    if (name === undefined || !has(entries, folder)) return null;
    const inside = await this.ports.list(folder);
    const list = await this.readTwin(joinPath(folder, 'index'), inside);
    return { path: folder, entries: inside, list, versions: readVersions(list.facts.versions) };
  }

  /** @param {string} path @returns {Promise<FileVersions>} */
  async openToWrite(path) {
    const root = await this.openRootToWrite(rootOf(path));
    const there = await this.openFolder(root, path);
    if (there) return there;
    const name = freshName();
    const folder = joinPath(versionsFolder(root.root), name);
    await this.ports.makeFolder(folder);
    root.folders.set(inRoot(path), name);
    await this.writeFolders(root);
    return { path: folder, entries: [], list: { path: joinPath(folder, 'index'), serial: 0, facts: {} }, versions: [] };
  }

  /**
   * @param {FileVersions} file
   * @param {KeptText} text
   * @param {readonly Version[]} listed on disk
   */
  async put(file, { bytes, cause, encoding, time }, listed) {
    const facts = { cause, encoding, time, size: bytes.length, hash: bytesHash(bytes) };
    const next = withText(file.versions, facts, listed);
    if (!next) return;
    if (next.slot >= 0) await this.ports.write(joinPath(file.path, String(next.slot)), bytes);
    file.versions = next.versions;
  }

  /** @param {FileVersions} file */
  writeList({ list, versions }) {
    return this.writeTwin(list, { versions });
  }

  /** @param {RootVersions} root */
  writeFolders({ list, folders }) {
    return this.writeTwin(list, { files: Object.fromEntries(folders) });
  }

  /**
   * The newest whole one of two files. One that was cut short is no JSON.
   * @param {string} path without the number
   * @param {readonly Entry[]} entries of its folder
   * @returns {Promise<TwinFile>}
   */
  async readTwin(path, entries) {
    const newest = { path, serial: 0, facts: /** @type {Record<string, any>} */ ({}) };
    for (const file of [`${path}.0`, `${path}.1`]) {
      if (!entries.some((entry) => !entry.directory && entry.path === file && entry.size > 0)) continue;
      const facts = parseRecord(new TextDecoder().decode(await this.ports.read(file)));
      if (facts?.marlinHistory === 1 && facts.serial > newest.serial) Object.assign(newest, { serial: facts.serial, facts });
    }
    return newest;
  }

  /** @param {TwinFile} list @param {Record<string, unknown>} facts */
  async writeTwin(list, facts) {
    const serial = list.serial + 1;
    const text = JSON.stringify({ marlinHistory: 1, serial, ...facts });
    await this.ports.write(`${list.path}.${serial % 2}`, new TextEncoder().encode(text));
    list.serial = serial;
  }
}

/** @param {readonly Entry[]} entries @param {string} path */
const has = (entries, path) => entries.some((entry) => entry.directory && entry.path === path);

/** No name that was ever given is given again, even when the list of names was lost. */
const freshName = () => Date.now().toString(36) + Math.floor(Math.random() * 36 ** 6).toString(36).padStart(6, '0');
