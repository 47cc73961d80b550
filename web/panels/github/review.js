// Lets Claude look a pull request over: what it finds waits as drafts on the page.

import { reportError, toast } from '../../shell/toasts.js';
import { review } from '../../stores/pulldrafts.js';
import { pullOfArg } from '../../stores/pull.js';

/** @param {import('../../stores/pulldrafts.js').DraftsOf} pull */
export async function lookOver(pull) {
  const { number } = pullOfArg(pull.arg);
  try {
    const found = await review(pull);
    const comments = found === 1 ? '1 comment waits' : `${found || 'No new'} comments wait`;
    toast({ kind: 'info', text: `Looked over #${number}: ${comments} on its page` });
  } catch (error) {
    reportError(`Could not look over #${number}`, error);
  }
}
