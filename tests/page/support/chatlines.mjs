// Lines as the Claude CLI prints them, for tests of the conversation.

const line = (record) => JSON.stringify(record);

export const init = (more = {}) =>
  line({
    type: 'system',
    subtype: 'init',
    session_id: 'session-1',
    cwd: '/p',
    model: 'claude-test-1',
    permissionMode: 'acceptEdits',
    tools: ['Bash', 'Edit'],
    slash_commands: ['compact', 'review'],
    ...more,
  });

/** A piece of an answer while it is written. */
export const streamed = (event, parent = null) =>
  line({ type: 'stream_event', event, parent_tool_use_id: parent, session_id: 'session-1' });
export const begin = (id = 'msg-1', parent = null) =>
  streamed({ type: 'message_start', message: { id } }, parent);
export const block = (index, content_block, parent = null) =>
  streamed({ type: 'content_block_start', index, content_block }, parent);
export const delta = (index, value, parent = null) =>
  streamed({ type: 'content_block_delta', index, delta: value }, parent);
export const textDelta = (text, index = 0) => delta(index, { type: 'text_delta', text });

export const assistant = (content, { id = 'msg-1', parent = null, usage } = {}) =>
  line({
    type: 'assistant',
    message: { id, role: 'assistant', model: 'claude-test-1', content, usage },
    parent_tool_use_id: parent,
  });
export const says = (text, more) => assistant([{ type: 'text', text }], more);
export const calls = (id, name, input, more) => assistant([{ type: 'tool_use', id, name, input }], more);

export const toolResult = (id, content, error = false) =>
  line({
    type: 'user',
    message: { role: 'user', content: [{ type: 'tool_result', tool_use_id: id, content, is_error: error }] },
  });

export const result = (more = {}) =>
  line({
    type: 'result',
    subtype: 'success',
    is_error: false,
    duration_ms: 1200,
    num_turns: 1,
    total_cost_usd: 0.02,
    result: 'done',
    ...more,
  });

export const asks = (id, tool, input, more = {}) =>
  line({
    type: 'control_request',
    request_id: id,
    request: { subtype: 'can_use_tool', tool_name: tool, input, ...more },
  });

export const cancels = (id) => line({ type: 'control_cancel_request', request_id: id });

/** The page's own record beside the CLI's lines. */
export const own = (kind, more = {}) => line({ type: 'marlin', kind, ...more });

/** Numbers that look random and are the same in each run. */
export function randomFrom(seed) {
  let state = seed >>> 0;
  return (below) => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return Math.floor((state / 2 ** 32) * below);
  };
}
