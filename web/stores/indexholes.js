// Mends the list of files after folders came or moved.
//
// When a folder itself changes, the native side takes all that it holds off its list and learns of single
// files only by later changes to them: after a checkout, or a folder that was moved in, files would be
// found neither by name nor by text. So the page has the list made anew, once things are quiet and not too
// often. The same when the notice names only some of the paths.

import { note } from './log.js';
import { fileInfo } from './files.js';

/** After the last notice. */
export const kQuietMs = 1500;
/** Between two scans, however often folders change. */
export const kEveryMs = 15000;
/**
 * Paths that are known to be files, so that a build that writes the same ones again and again costs nothing.
 */
const kFilesKept = 5000;
/** The editor's own folder and git's are on no list. */
const kUnlisted = /^\/|(?:^|\/)\.(?:git|marlin)(?:\/|$)/;

export class HoleWatch {
  /**
   * @param {() => Promise<unknown>} scan
   * @param {{info?: (path: string) => Promise<{directory: boolean} | null>, quietMs?: number, everyMs?:
   *   number}} [ports]
   */
  constructor(scan, { info = fileInfo, quietMs = kQuietMs, everyMs = kEveryMs } = {}) {
    this.scan = scan;
    this.info = info;
    this.quietMs = quietMs;
    this.everyMs = everyMs;
    /** @type {Set<string>} */
    this.files = new Set();
    /** @type {ReturnType<typeof setTimeout> | undefined} */
    this.timer = undefined;
    this.lastScan = -Infinity;
    this.looking = Promise.resolve();
  }

  /** @param {{paths: string[], count: number}} event */
  look({ paths, count }) {
    const open = paths.filter((path) => !kUnlisted.test(path) && !this.files.has(path));
    if (this.timer !== undefined || count > paths.length) this.later();
    else if (open.length) this.looking = this.looking.then(() => this.seek(open));
    return this.looking;
  }

  /** @param {string[]} paths */
  async seek(paths) {
    for (const path of paths) {
      if (this.timer !== undefined) return;
      const facts = await this.info(path).catch(() => null);
      if (facts?.directory) return this.later();
      if (facts) this.keep(path);
    }
  }

  /** @param {string} path */
  keep(path) {
    if (this.files.size >= kFilesKept) this.files.clear();
    this.files.add(path);
  }

  later() {
    clearTimeout(this.timer);
    const wait = Math.max(this.quietMs, this.lastScan + this.everyMs - Date.now());
    this.timer = setTimeout(() => {
      this.timer = undefined;
      this.lastScan = Date.now();
      this.scan().catch((error) => note('warning', 'Could not scan the files again', error));
    }, wait);
  }
}
