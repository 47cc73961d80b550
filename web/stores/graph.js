// The histories that are shown, one a repository: read in steps as far as the user scrolls, read again when
// commits or refs change, and narrowed by what the user looks for.

import { batch, computed, effect, signal, untracked } from '@preact/signals';
import { get } from '../bridge/api.js';
import { gitEpoch, repos } from './git.js';
import { readGit } from './gitexec.js';
import { refresher } from './gitrefresh.js';
import { layLanes } from './graphlanes.js';
import { badges, isHead, isSifted, MOST_COMMITS, NO_FILTER, readGraph, sifted, unpushed } from './graphmodel.js';
import { LIST_STASHES, readStashes } from './historystash.js';
import { note } from './log.js';

/**
 * @typedef {import('./gitstatus.js').Repo} Repo
 * @typedef {import('./graphmodel.js').Graph} Graph
 * @typedef {import('./graphmodel.js').GraphFilter} GraphFilter
 */

/** How many commits are read at first, and then. */
const kSteps = [500, 2000, MOST_COMMITS];

/** @param {number} limit */
const nextStep = (limit) => kSteps.find((step) => step > limit) ?? MOST_COMMITS;

/** @type {Map<string, GraphStore>} */
const stores = new Map();

/**
 * The history of a repository.
 * @param {string} name
 */
export function graphOf(name) {
  const there = stores.get(name);
  if (there) return there;
  const made = new GraphStore(name);
  stores.set(name, made);
  return made;
}

export class GraphStore {
  /** @param {string} name */
  constructor(name) {
    this.name = name;
    /** @type {import('@preact/signals').Signal<Graph | null>} */
    this.graph = signal(null);
    /** @type {import('@preact/signals').Signal<import('./historystash.js').Stash[]>} */
    this.stashes = signal([]);
    this.failure = signal('');
    /** How many commits are asked for. */
    this.limit = signal(kSteps[0]);
    /** Whether the bridge gave as many as were asked for, so that there may be more. */
    this.cut = signal(false);
    this.loading = signal(false);
    /** @type {import('@preact/signals').Signal<GraphFilter>} */
    this.filter = signal(NO_FILTER);
    /** The path whose history is shown; "" for all. */
    this.path = signal('');
    /** The hash of the commit in front. */
    this.selected = signal('');

    this.badges = computed(() => badges(this.graph.value ?? { commits: [], refs: [] }));
    this.unpushed = computed(() => unpushed(this.graph.value ?? { commits: [], refs: [] }));
    this.commits = computed(() => sifted(this.graph.value?.commits ?? [], this.filter.value));
    /** Lines between commits of which some are left out would lie. */
    this.lanes = computed(() => (isSifted(this.filter.value) ? null : layLanes(this.commits.value)));
    /** How many lanes the widest row has. */
    this.width = computed(() => (this.lanes.value ?? []).reduce((most, { width }) => Math.max(most, width), 1));

    this.shown = 0;
    this.refresh = refresher(() => this.read());
  }

  get repo() {
    return repos.value.find((one) => one.name === this.name && one.isRepo) ?? null;
  }

  /** Whether the bridge would list more commits than it was asked for. */
  get mayLoadMore() {
    return this.cut.value && this.limit.value < MOST_COMMITS;
  }

  /** Asks for more commits, once at a time. */
  loadMore() {
    if (!this.mayLoadMore || this.loading.value) return;
    this.limit.value = nextStep(this.limit.value);
    void this.refresh.now();
  }

  /**
   * Puts a commit in front, and reads on until the list has it, if it will. A filter that hides it goes.
   * @param {string} hash
   */
  async reveal(hash) {
    this.selected.value = hash;
    if (!this.graph.value) await this.refresh.now();
    const listed = () => this.graph.value?.commits.some((commit) => commit.hash === hash) ?? false;
    while (!listed() && this.mayLoadMore && this.selected.value === hash) {
      this.limit.value = nextStep(this.limit.value);
      await this.refresh.now();
    }
    if (!listed() || this.commits.value.some((commit) => commit.hash === hash)) return;
    this.path.value = '';
    this.filter.value = NO_FILTER;
  }

  /** Keeps the history current until the result is called. */
  watch() {
    this.shown++;
    let epoch = -1;
    const stop = effect(() => {
      const now = gitEpoch.value;
      const ready = this.repo !== null;
      if (!ready || now === epoch) return;
      const first = epoch < 0;
      epoch = now;
      untracked(() => (first ? void this.refresh.now() : this.refresh.soon()));
    });
    return () => {
      this.shown--;
      stop();
    };
  }

  async read() {
    const { repo } = this;
    if (!repo) return;
    this.loading.value = true;
    try {
      const limit = this.limit.value;
      const answer = await get('git/graph', { repo: this.name, limit: String(limit) });
      const stashes = await this.readStashes(repo, answer);
      const graph = readGraph(answer);
      batch(() => {
        this.failure.value = '';
        this.cut.value = (answer?.commits?.length ?? 0) >= limit;
        if (!sameGraph(this.graph.value, graph)) this.graph.value = graph;
        this.selected.value ||= (graph.commits.find(isHead) ?? graph.commits[0])?.hash ?? '';
        if (JSON.stringify(stashes) !== JSON.stringify(this.stashes.value)) this.stashes.value = stashes;
      });
      if (this.path.value) await this.readPath();
    } catch (error) {
      this.failure.value = error instanceof Error ? error.message : String(error);
    } finally {
      this.loading.value = false;
    }
  }

  /**
   * Of the stashes only the latest is in the history, and none are when it is not there.
   * @param {Repo} repo
   * @param {any} answer
   */
  async readStashes(repo, answer) {
    const some = this.stashes.value.length > 0 || this.graph.value === null;
    const inHistory = (answer?.commits ?? []).some((/** @type {any} */ one) => String(one?.refs).includes('refs/stash'));
    if (!some && !inHistory) return [];
    try {
      return readStashes(await readGit(repo, LIST_STASHES, 'List the stashes'));
    } catch (error) {
      note('warning', `Could not list the stashes of ${this.name}`, error);
      return [];
    }
  }

  /** @param {Partial<GraphFilter>} change */
  sift(change) {
    this.filter.value = { ...this.filter.value, ...change };
  }

  /**
   * Shows only commits that touch a path; "" shows all again.
   * @param {string} path relative to the repository
   */
  async siftByPath(path) {
    this.path.value = path;
    if (!path) return this.sift({ hashes: null });
    this.sift({ hashes: new Set() });
    try {
      await this.readPath();
    } catch (error) {
      this.failure.value = error instanceof Error ? error.message : String(error);
    }
  }

  async readPath() {
    const path = this.path.value;
    const commits = await readPathLog(this.name, path, MOST_COMMITS);
    if (this.path.value === path) this.sift({ hashes: new Set(commits.map(({ hash }) => hash)) });
  }
}

/**
 * @typedef {{hash: string, short: string, author: string, date: string, subject: string}} LogCommit
 */

/**
 * The commits of the checked-out history that touch a path, the latest first.
 * @param {string} repo name
 * @param {string} path relative to the repository
 * @param {number} limit
 * @returns {Promise<LogCommit[]>}
 */
export async function readPathLog(repo, path, limit) {
  const answer = await get('git/log', { repo, path, limit: String(limit) });
  const commits = Array.isArray(answer?.commits) ? answer.commits : [];
  return commits.filter((/** @type {any} */ one) => typeof one?.hash === 'string');
}

/**
 * Whether nothing changed that a history shows: most changes below ".git" are of other things.
 * @param {Graph | null} before
 * @param {Graph} now
 */
function sameGraph(before, now) {
  if (before?.commits.length !== now.commits.length) return false;
  return (
    before.commits.every(({ hash, refs }, at) => hash === now.commits[at].hash && refs === now.commits[at].refs) &&
    JSON.stringify(before.refs) === JSON.stringify(now.refs)
  );
}
