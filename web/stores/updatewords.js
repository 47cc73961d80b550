// What is said of updates: pure readings of what the bridge tells of them.

/**
 * @typedef {object} UpdateStatus
 * @property {'idle' | 'checking' | 'uptodate' | 'available' | 'downloading' | 'ready' | 'failed'} state
 * @property {string} currentVersion empty in a build that does not update itself
 * @property {string} version of the release that is known, newer or not
 * @property {string} notes
 * @property {number} size bytes
 * @property {string} published as its signer wrote it
 * @property {number} progress percent
 * @property {string} error
 * @property {number} lastCheck seconds since the epoch, 0 for never
 */

/** @type {UpdateStatus} */
export const kNoStatus = {
  state: 'idle',
  currentVersion: '',
  version: '',
  notes: '',
  size: 0,
  published: '',
  progress: 0,
  error: '',
  lastCheck: 0,
};

const kTexts = /** @type {const} */ (['currentVersion', 'version', 'notes', 'published', 'error']);
const kNumbers = /** @type {const} */ (['size', 'progress', 'lastCheck']);
const kStates = ['idle', 'checking', 'uptodate', 'available', 'downloading', 'ready', 'failed'];

/** @param {any} answer @returns {UpdateStatus} */
export function readStatus(answer) {
  const status = { ...kNoStatus };
  if (kStates.includes(answer?.state)) status.state = answer.state;
  for (const key of kTexts) if (typeof answer?.[key] === 'string') status[key] = answer[key];
  for (const key of kNumbers) if (typeof answer?.[key] === 'number') status[key] = answer[key];
  return status;
}

/**
 * The failure to show. One of a check that nobody asked for leaves words behind, which stay quiet.
 * @param {UpdateStatus} status
 * @param {boolean} asked whether the last check was the user's
 */
export function shownError({ state, error }, asked) {
  return state === 'failed' || (asked && state === 'idle') ? error : '';
}

/**
 * What the status bar says; null for nothing worth a place there.
 * @param {UpdateStatus} status
 * @returns {{words: string, icon: string} | null}
 */
export function badgeOf({ state, version, progress }) {
  if (state === 'available') return { words: `Version ${version} is there`, icon: 'cloud-download' };
  if (state === 'downloading') return { words: `Downloading ${progress} %`, icon: 'sync' };
  if (state === 'ready') return { words: 'Restart to update', icon: 'check' };
  return null;
}

/** @param {UpdateStatus} status */
export function stateWords({ state, currentVersion, version, progress }) {
  if (!currentVersion) return 'This build does not update itself: it was not installed from a package.';
  switch (state) {
    case 'checking':
      return 'Looking for a newer version…';
    case 'available':
      return `Version ${version} is there.`;
    case 'downloading':
      return `Version ${version} is being downloaded: ${progress} %.`;
    case 'ready':
      return `Version ${version} is downloaded and was verified. It is installed when you restart.`;
    case 'failed':
      return 'The update did not work.';
    case 'uptodate':
      return version && version !== currentVersion
        ? `Version ${version} is left out; you have ${currentVersion}.`
        : `Version ${currentVersion} is the newest.`;
    default:
      return `You have version ${currentVersion}.`;
  }
}

/**
 * How long ago a release was published, "" when its date cannot be read.
 * @param {string} published
 * @param {number} now milliseconds
 */
export function ageOf(published, now) {
  const time = Date.parse(published);
  if (Number.isNaN(time)) return '';
  const days = Math.floor((now - time) / 86400000);
  if (days < 0) return 'dated in the future';
  if (days === 0) return 'today';
  if (days === 1) return 'yesterday';
  if (days < 60) return `${days} days ago`;
  return `${Math.floor(days / 30)} months ago`;
}

/** @param {number} bytes */
export function sizeWords(bytes) {
  if (bytes <= 0) return '';
  if (bytes < 1048576) return `${Math.ceil(bytes / 1024)} KiB`;
  return `${(bytes / 1048576).toFixed(1)} MiB`;
}

/**
 * What will run when the update is applied, as far as the page can know how the program was installed.
 * @param {string} program the running program's file
 * @returns {{kind: string, command: string}}
 */
export function installationOf(program) {
  if (/\.appimage$/i.test(program))
    return { kind: 'AppImage', command: `the verified file takes the place of ${program}` };
  if (program.startsWith('/usr/'))
    return {
      kind: 'package of the system',
      command: 'pkexec asks for your password, then apt-get, dnf, zypper or pacman installs the verified package',
    };
  return { kind: 'program file', command: `the verified file takes the place of ${program || 'the program'}` };
}

/**
 * The sheet of facts on a release that is known.
 * @param {UpdateStatus} status
 * @param {string} program
 * @param {number} now milliseconds
 * @returns {{label: string, value: string}[]}
 */
export function verifiedFacts(status, program, now) {
  const { kind, command } = installationOf(program);
  const age = ageOf(status.published, now);
  const ready = status.state === 'ready';
  return [
    { label: 'Version', value: `${status.version}; you have ${status.currentVersion}` },
    { label: 'Published', value: status.published + (age ? ` (${age})` : '') },
    { label: 'Size', value: sizeWords(status.size) },
    { label: 'Signature', value: "The manifest was signed with the key that this program was built with." },
    {
      label: 'Digest',
      value: ready
        ? 'The SHA-256 of the downloaded file is the one in the signed manifest.'
        : 'The SHA-256 of the file is compared with the signed manifest once it is downloaded.',
    },
    { label: 'Installed as', value: kind },
    { label: 'At the restart', value: command },
  ].filter(({ value }) => value);
}
