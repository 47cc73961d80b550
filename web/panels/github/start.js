// Registers GitHub: its panel, the pages of pull requests, and the commands.

import { effect } from '@preact/signals';
import { registerPage } from '../../editor/pages.js';
import { frontTab, tabs } from '../../editor/state.js';
import { registerCommand } from '../../shell/commands.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { githubState, overviews, refreshGithub } from '../../stores/github.js';
import { keepPulls, pullOfArg, pullPage, readPull } from '../../stores/pull.js';
import { loadDrafts } from '../../stores/pulldrafts.js';
import { loadViewed } from '../../stores/pullviewed.js';
import { allTabs, pageOfId } from '../../stores/tabs.js';
import { checkOut, choosePull, openOutside, openPull, signIn } from './actions.js';
import { showLine } from './desk.js';
import { GithubActions, GithubPanel, focusGithub } from './panel.js';
import { PullPage, pullTitle } from './pullpage.js';
import { lookOver } from './review.js';
import { loadGithubState } from './state.js';

/** The argument of the page that a tab shows; "" when it shows no pull request. @param {string} id */
function pullIn(id) {
  const page = pageOfId(id);
  return page?.name === 'pull' ? page.arg : '';
}

const frontPull = () => pullIn(frontTab.value?.id ?? '');

const frontDetail = () => (frontPull() ? pullPage(frontPull()).value.detail : null);
const hasPull = () => frontDetail() !== null;

/** @type {Parameters<typeof registerCommand>[0][]} */
const kCommands = [
  { id: 'github.focus', title: 'Focus GitHub', run: show },
  { id: 'github.refresh', title: 'Read Pull Requests, Issues and Runs Again', run: refreshGithub },
  {
    id: 'github.openPull',
    title: 'Open Pull Request…',
    when: () => [...overviews.value.values()].some(({ pulls }) => pulls.length > 0),
    run: choosePull,
  },
  { id: 'github.signIn', title: 'Sign In in a Terminal', when: () => githubState.value !== 'missing', run: signIn },
  { id: 'github.checkOut', title: 'Check Out the Pull Request', when: hasPull, run: () => checkOut(frontPull()) },
  {
    id: 'github.lookOver',
    title: 'Look the Pull Request Over',
    when: hasPull,
    run: () => lookOver({ url: frontDetail()?.url ?? '', arg: frontPull() }),
  },
  {
    id: 'github.openOutside',
    title: 'Open the Pull Request in the Browser',
    when: hasPull,
    run: () => openOutside(frontDetail()?.url ?? ''),
  },
  { id: 'github.readPull', title: 'Read the Pull Request Again', when: hasPull, run: () => readPull(frontPull()) },
  { id: 'github.showLine', title: 'Show a Line of a Pull Request', palette: false, run: jump },
];

export function startGithub() {
  registerPanel({
    id: 'github',
    title: 'GitHub',
    icon: 'github',
    place: 'side',
    order: 45,
    component: GithubPanel,
    actions: GithubActions,
  });
  registerPage('pull', { title: pullTitle, component: PullPage });
  for (const command of kCommands) registerCommand({ ...command, category: 'GitHub' });
  loadGithubState();
  loadDrafts();
  loadViewed();
  effect(() => keepPulls(new Set(allTabs(tabs.value).map(({ id }) => pullIn(id)))));
}

function show() {
  showPanel('github');
  requestAnimationFrame(focusGithub);
}

/** @param {{arg: string, path: string, side: 'old' | 'new', line: number}} where */
async function jump({ arg, path, side, line }) {
  const { repo, number } = pullOfArg(arg);
  openPull(repo, number);
  if (!pullPage(arg).value.detail) await readPull(arg);
  showLine(arg, pullPage(arg).value, { path, line, side });
}
