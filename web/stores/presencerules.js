// What the Discord status may say of the work: pure rules. In doubt it says nothing.

import { baseName, rootOf } from './paths.js';

/**
 * @typedef {{file: string, project: string, idle: boolean}} Told
 *
 * @typedef {object} Situation
 * @property {string} path workspace path of the file in front, "" for none
 * @property {boolean} idle nobody has done anything for a while
 * @property {boolean} paused
 * @property {boolean} presenting
 * @property {string[]} privateRoots
 */

/** Files whose very names say too much, in lower case. */
const kSecretNames = [
  /^\.env(\..*)?$/,
  /^\.(netrc|npmrc|pypirc|pgpass|htpasswd|git-credentials)$/,
  /^id_(rsa|dsa|ecdsa|ed25519)(\.pub)?$/,
  /\.(pem|key|p12|pfx|jks|keystore|kdbx|gpg|asc|ovpn)$/,
  /(^|[._-])(secrets?|credentials?|passwords?|tokens?)([._-]|$)/,
];
const kSecretFolders = ['.ssh', '.gnupg', '.aws', '.kube', '.password-store'];

/** @param {string} path */
export function isSecret(path) {
  const parts = path.toLowerCase().split('/');
  const name = parts.pop() ?? '';
  return parts.some((part) => kSecretFolders.includes(part)) || kSecretNames.some((rule) => rule.test(name));
}

/** Nothing but that the program runs. @type {Told} */
export const kSilent = { file: '', project: '', idle: true };

/**
 * Why the status is silent, "" when it is not.
 * @param {Situation} situation
 */
export function silentBecause({ path, paused, presenting, privateRoots }) {
  if (paused) return 'it is paused';
  if (presenting) return 'you are presenting';
  if (path && privateRoots.includes(rootOf(path))) return 'the folder is private';
  if (path && isSecret(path)) return 'the file may hold secrets';
  return '';
}

/** @param {Situation} situation @returns {Told} */
export function toldOf(situation) {
  const { path, idle } = situation;
  if (silentBecause(situation)) return kSilent;
  if (!path) return kSilent;
  return { file: baseName(path), project: rootOf(path), idle };
}
