// What the history of a repository holds, as the bridge tells it, and what follows from it: which commits are
// on which branch, which were not pushed yet, which names stand at a commit. Nothing here asks the bridge.

/**
 * @typedef {object} GraphCommit
 * @property {string} hash
 * @property {string} short
 * @property {string[]} parents
 * @property {string} author
 * @property {string} email
 * @property {number} time seconds since the epoch
 * @property {string} subject
 * @property {string} refs as git decorates the commit
 *
 * @typedef {'local' | 'remote' | 'tag'} RefKind
 * @typedef {object} Ref
 * @property {string} name without "heads/", "remotes/" or "tags/"
 * @property {string} fullName
 * @property {RefKind} kind
 * @property {string} hash
 * @property {boolean} current
 * @property {string} upstream
 * @property {number} ahead
 * @property {number} behind
 * @property {number} time seconds since the epoch
 * @property {string} subject
 *
 * @typedef {{commits: GraphCommit[], refs: Ref[]}} Graph
 * @typedef {{kind: 'head' | 'current' | RefKind | 'stash', name: string}} Badge
 */

/** More commits the bridge does not list. */
export const MOST_COMMITS = 5000;

/** @type {Record<RefKind, string>} */
const kFolders = { local: 'heads', remote: 'remotes', tag: 'tags' };

/**
 * The answer of "git/graph" as it is used.
 * @param {any} answer
 * @returns {Graph}
 */
export function readGraph(answer) {
  const commits = list(answer?.commits).filter((one) => typeof one?.hash === 'string').map(readCommit);
  return { commits: withoutStashParts(commits), refs: readRefs(answer) };
}

/** @param {any} one @returns {GraphCommit} */
function readCommit(one) {
  const { hash, short, parents, author, email, time, subject, refs } = one;
  return {
    hash,
    short: text(short) || hash.slice(0, 7),
    parents: list(parents).filter((parent) => typeof parent === 'string'),
    author: text(author),
    email: text(email),
    time: Number(time) || 0,
    subject: text(subject),
    refs: text(refs),
  };
}

/** @param {any} answer @returns {Ref[]} */
export function readRefs(answer) {
  return list(answer?.refs)
    .filter((one) => typeof one?.name === 'string' && typeof one.hash === 'string' && Object.hasOwn(kFolders, one.kind))
    .map((one) => readRef(one));
}

/**
 * Git shortens a name as far as it stays clear: a branch that is called like a tag comes as "heads/name".
 * @param {any} one
 * @returns {Ref}
 */
function readRef(one) {
  const kind = /** @type {RefKind} */ (one.kind);
  const folder = kFolders[kind];
  const name = one.name.startsWith(`${folder}/`) ? one.name.slice(folder.length + 1) : one.name;
  return {
    name,
    fullName: `refs/${folder}/${name}`,
    kind,
    hash: one.hash,
    current: one.current === true,
    upstream: text(one.upstream),
    ahead: Number(one.ahead) || 0,
    behind: Number(one.behind) || 0,
    time: Number(one.time) || 0,
    subject: text(one.subject),
  };
}

/** @param {unknown} value @returns {any[]} */
const list = (value) => (Array.isArray(value) ? value : []);
/** @param {unknown} value */
const text = (value) => (typeof value === 'string' ? value : '');

/**
 * A stash is a commit that merges what was staged and what git did not know yet; these two are of no
 * interest beside it.
 * @param {GraphCommit[]} commits
 */
function withoutStashParts(commits) {
  const stash = commits.find(isStash);
  if (!stash) return commits;
  const parts = new Set(stash.parents.slice(1));
  return commits
    .filter(({ hash }) => !parts.has(hash))
    .map((commit) => (commit === stash ? { ...commit, parents: commit.parents.slice(0, 1) } : commit));
}

/** @param {{refs: string}} commit */
export const isStash = ({ refs }) => refs.split(', ').includes('refs/stash');

/** Whether the head is at this commit, on a branch or not. @param {{refs: string}} commit */
export const isHead = ({ refs }) => /^HEAD(?: -> |,|$)/.test(refs);

const kOnHead = 1;
const kOnLocal = 2;
const kOnUpstream = 4;
const kOnRemote = 8;

/**
 * The commits that are only here: those ahead of the current branch's upstream, and those of other branches
 * that no remote has. Without a remote there is nowhere to push to, and none is told.
 * @param {Graph} graph
 * @returns {Set<string>} hashes
 */
export function unpushed({ commits, refs }) {
  const current = refs.find((ref) => ref.current);
  const upstream = current && refs.find((ref) => ref.kind === 'remote' && ref.name === current.upstream);
  if (!refs.some(({ kind }) => kind === 'remote')) return new Set();
  /** @type {Map<string, number>} */
  const flags = new Map();
  const add = (/** @type {string} */ hash, /** @type {number} */ flag) => flags.set(hash, (flags.get(hash) ?? 0) | flag);
  for (const { kind, hash } of refs) if (kind !== 'tag') add(hash, kind === 'local' ? kOnLocal : kOnRemote);
  if (upstream) {
    add(current.hash, kOnHead);
    add(upstream.hash, kOnUpstream);
  }
  /** @type {Set<string>} */
  const found = new Set();
  // Children come before their parents, so that one walk hands everything down.
  for (const { hash, parents } of commits) {
    const flag = flags.get(hash) ?? 0;
    if (isAhead(flag)) found.add(hash);
    if (flag) for (const parent of parents) add(parent, flag);
  }
  return found;
}

/** @param {number} flag */
function isAhead(flag) {
  if (flag & kOnHead && !(flag & kOnUpstream)) return true;
  return Boolean(flag & kOnLocal) && !(flag & kOnRemote);
}

/**
 * The commits from which a history consists that begins at `hash`.
 * @param {readonly GraphCommit[]} commits
 * @param {string} hash
 * @returns {Set<string>}
 */
export function reachable(commits, hash) {
  const found = new Set([hash]);
  for (const commit of commits) {
    if (found.has(commit.hash)) for (const parent of commit.parents) found.add(parent);
  }
  return found;
}

/**
 * The names at each commit: the current branch first, then branches, remotes and tags.
 * @param {Graph} graph
 * @returns {Map<string, Badge[]>}
 */
export function badges({ commits, refs }) {
  /** @type {Map<string, Badge[]>} */
  const found = new Map();
  const add = (/** @type {string} */ hash, /** @type {Badge} */ badge) => {
    const there = found.get(hash);
    if (there) there.push(badge);
    else found.set(hash, [badge]);
  };
  const current = refs.find((ref) => ref.current);
  if (current) add(current.hash, { kind: 'current', name: current.name });
  for (const kind of /** @type {RefKind[]} */ (['local', 'remote', 'tag'])) {
    for (const ref of refs) if (ref.kind === kind && ref !== current) add(ref.hash, { kind, name: ref.name });
  }
  for (const commit of commits) {
    if (isStash(commit)) add(commit.hash, { kind: 'stash', name: 'stash' });
    if (!current && isHead(commit)) add(commit.hash, { kind: 'head', name: 'HEAD' });
  }
  return found;
}

const kBadgeWords = {
  head: () => 'here without a branch',
  current: (/** @type {string} */ name) => `current branch ${name}`,
  local: (/** @type {string} */ name) => `branch ${name}`,
  remote: (/** @type {string} */ name) => `remote branch ${name}`,
  tag: (/** @type {string} */ name) => `tag ${name}`,
  stash: () => 'stash',
};

/** @param {Badge} badge */
export const badgeWords = ({ kind, name }) => kBadgeWords[kind](name);

/**
 * What is looked for in a history; "" or null each for anything.
 * @typedef {object} GraphFilter
 * @property {string} text words of the subject, the author, or the beginning of a hash
 * @property {string} author
 * @property {string} email "mine": the author's address
 * @property {string} ref the hash from which on the history is shown
 * @property {ReadonlySet<string> | null} hashes those that touch a path
 */

/** @type {GraphFilter} */
export const NO_FILTER = { text: '', author: '', email: '', ref: '', hashes: null };

/**
 * Whether rows are left out such that lines between the rest would lie.
 * @param {GraphFilter} filter
 */
export const isSifted = ({ text: words, author, email, hashes }) => Boolean(words.trim() || author || email || hashes);

/**
 * @param {readonly GraphCommit[]} commits
 * @param {GraphFilter} filter
 * @returns {readonly GraphCommit[]}
 */
export function sifted(commits, { text: typed, author, email, ref, hashes }) {
  const words = typed.toLowerCase().split(/\s+/).filter(Boolean);
  const within = ref ? reachable(commits, ref) : null;
  if (!words.length && !author && !email && !within && !hashes) return commits;
  return commits.filter(
    (commit) =>
      (!within || within.has(commit.hash)) &&
      (!hashes || hashes.has(commit.hash)) &&
      (!author || commit.author === author) &&
      (!email || commit.email.toLowerCase() === email.toLowerCase()) &&
      words.every((word) => hasWord(commit, word)),
  );
}

/**
 * @param {GraphCommit} commit
 * @param {string} word in small letters
 */
function hasWord({ subject, author, hash }, word) {
  return subject.toLowerCase().includes(word) || author.toLowerCase().includes(word) || hash.startsWith(word);
}

/**
 * Who wrote the commits, by how many.
 * @param {readonly GraphCommit[]} commits
 * @returns {{author: string, count: number}[]}
 */
export function authors(commits) {
  /** @type {Map<string, number>} */
  const counts = new Map();
  for (const { author } of commits) counts.set(author, (counts.get(author) ?? 0) + 1);
  return [...counts].map(([author, count]) => ({ author, count })).sort((a, b) => b.count - a.count);
}
