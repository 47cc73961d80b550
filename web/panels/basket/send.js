// Where the remarks of the basket go: as one message to the conversation, or to a task. Only what was taken is
// taken out.

import { signal } from '@preact/signals';
import { showPanel } from '../../shell/layout.js';
import { pick } from '../../shell/quickpick.js';
import { reportError, toast } from '../../shell/toasts.js';
import { messageOf, remarks, removeSent, titleOf } from '../../stores/basket.js';
import { dropQueued, queue, submit } from '../../stores/chatsession.js';
import { createTasks, readTasks, sendToTask, taskRoots, tasks, tasksKnown } from '../../stores/dispatch.js';
import { isClosed, titleLine } from '../../stores/dispatchwire.js';

/** Whether the remarks are on their way. */
export const sending = signal(false);

/** Remarks on their way are not sent a second time. @param {() => Promise<void>} work */
async function once(work) {
  if (sending.value || remarks.value.length === 0) return;
  sending.value = true;
  try {
    await work();
  } finally {
    sending.value = false;
  }
}

/** Sends all remarks to the conversation; while Claude is busy they wait in its line. */
export const sendToChat = () =>
  once(async () => {
    const list = remarks.value;
    const text = messageOf(list);
    try {
      await submit(text);
    } catch (error) {
      // The conversation has put the message back in its line; here it is safe, and there it would go twice.
      for (const message of queue.value) if (message.text === text) dropQueued(message.id);
      return reportError('Could not send the remarks', error);
    }
    removeSent(list);
    showPanel('chat');
  });

/** Asks which task the remarks are for, and hands them over. */
export async function sendToTaskOf() {
  if (!tasksKnown.value) await readTasks();
  const chosen = await pick({
    title: 'Make a Task of the Remarks',
    placeholder: 'A new task, or one that there is',
    items: taskChoices(),
    empty: 'No folder of the workspace can have tasks.',
  });
  if (!chosen) return;
  const at = chosen.id.indexOf(':');
  const [kind, name] = [chosen.id.slice(0, at), chosen.id.slice(at + 1)];
  await once(() => (kind === 'new' ? makeTask(name) : tellTask(name)));
}

function taskChoices() {
  const open = tasks.value.filter(({ status }) => !isClosed(status)).reverse();
  return [
    ...rootsInOrder().map(({ name }) => ({ id: `new:${name}`, label: `New task in ${name}`, icon: 'add' })),
    ...open.map((task) => ({ id: `task:${task.id}`, label: titleLine(task), description: task.status, icon: 'comment' })),
  ];
}

/** The folder of the first remark comes first. */
function rootsInOrder() {
  const first = remarks.value[0]?.path.split('/')[0];
  return taskRoots.value.toSorted((a, b) => Number(b.name === first) - Number(a.name === first));
}

/** @param {string} root */
async function makeTask(root) {
  const list = remarks.value;
  const worktree = taskRoots.value.some(({ name, git }) => name === root && git);
  const wanted = { task: messageOf(list), title: titleOf(list), root, worktree };
  try {
    await createTasks({ ...wanted, plan: false, model: '', mode: 'acceptEdits', tries: 1 });
  } catch (error) {
    return reportError('Could not make a task of the remarks', error);
  }
  removeSent(list);
  toast({ kind: 'info', text: `A task has the remarks now: ${wanted.title}` });
}

/** @param {string} id */
async function tellTask(id) {
  const list = remarks.value;
  try {
    await sendToTask(id, messageOf(list));
  } catch (error) {
    return reportError('Could not send the remarks to the task', error);
  }
  removeSent(list);
  toast({ kind: 'info', text: 'The task has the remarks now.' });
}
