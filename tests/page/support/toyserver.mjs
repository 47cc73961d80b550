// A language server for tests of the page. Its language has lines "def NAME"; it finds fault with "BAD" and
// "DULL", keeps texts by the changes it is told, and ends at a change that writes "CRASH" and at a text with
// "DIES". A second argument names a file that notes each message it gets.
import { appendFileSync, readFileSync, readdirSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';

const notes = process.argv[2];
/** @type {Map<string, {version: number, text: string}>} */
const documents = new Map();
let root = '';

const send = (message) => {
  const body = Buffer.from(JSON.stringify({ jsonrpc: '2.0', ...message }));
  process.stdout.write(`Content-Length: ${body.length}\r\n\r\n`);
  process.stdout.write(body);
};

/** The texts of the folder as they are in the editor, or else on disk. */
function files() {
  const names = readdirSync(root).filter((name) => name.endsWith('.sh'));
  return names.map((name) => {
    const uri = pathToFileURL(join(root, name)).href;
    const open = documents.get(uri);
    return { uri, version: open?.version ?? null, text: open?.text ?? readFileSync(join(root, name), 'utf8') };
  });
}

const offsetIn = (text, { line, character }) => {
  const lines = text.split('\n');
  return lines.slice(0, line).reduce((sum, one) => sum + one.length + 1, 0) + character;
};
const positionIn = (text, offset) => {
  const lines = text.slice(0, offset).split('\n');
  return { line: lines.length - 1, character: lines.at(-1).length };
};
const rangeIn = (text, from, to) => ({ start: positionIn(text, from), end: positionIn(text, to) });

/** All places of a word in a text. */
const places = (text, word) =>
  [...text.matchAll(new RegExp(`(?<![\\w])${word}(?![\\w])`, 'g'))].map(({ index }) =>
    rangeIn(text, index, index + word.length),
  );

/** The word at a place of a document, with its range. */
function wordAt({ textDocument, position }) {
  const { text } = documents.get(textDocument.uri);
  const offset = offsetIn(text, position);
  const from = offset - /\w*$/.exec(text.slice(0, offset))[0].length;
  const to = offset + /^\w*/.exec(text.slice(offset))[0].length;
  return { text, word: text.slice(from, to), range: rangeIn(text, from, to) };
}

function findFaults(uri) {
  const { text, version } = documents.get(uri);
  const fault = (word, severity, message) =>
    places(text, word).map((range) => ({ range, severity, message, source: 'toy', code: word.toLowerCase() }));
  const diagnostics = [...fault('BAD', 1, 'BAD is not good'), ...fault('DULL', 2, 'There is something to do')];
  send({ method: 'textDocument/publishDiagnostics', params: { uri, version, diagnostics } });
}

const definitions = (text) =>
  [...text.matchAll(/^def (\w+)/gm)].map(({ index, 1: name }) => ({
    name,
    kind: 12,
    range: rangeIn(text, index, index + 4 + name.length),
    selectionRange: rangeIn(text, index + 4, index + 4 + name.length),
  }));

/** Changes of files themselves: one comes, is written to and moves; one goes. */
function filesAnew() {
  const [made, moved, old] = ['made.sh', 'moved.sh', 'e.txt'].map((name) => pathToFileURL(join(root, name)).href);
  const edits = [{ range: rangeIn('', 0, 0), newText: 'def made\n' }];
  return [
    { kind: 'create', uri: made, options: { ignoreIfExists: true } },
    { kind: 'create', uri: old, options: { ignoreIfExists: true } },
    { textDocument: { uri: made, version: null }, edits },
    { kind: 'rename', oldUri: made, newUri: moved },
    { kind: 'delete', uri: old },
  ];
}

const capabilities = {
  textDocumentSync: { openClose: true, change: 2, save: {} },
  completionProvider: { triggerCharacters: ['.'], resolveProvider: true },
  hoverProvider: true,
  signatureHelpProvider: { triggerCharacters: ['('] },
  definitionProvider: true,
  referencesProvider: true,
  renameProvider: { prepareProvider: true },
  documentSymbolProvider: true,
  documentFormattingProvider: true,
  codeActionProvider: { codeActionKinds: ['quickfix', 'source.fixAll'], resolveProvider: true },
  codeLensProvider: {},
  inlayHintProvider: true,
  foldingRangeProvider: true,
  workspaceSymbolProvider: true,
  callHierarchyProvider: true,
  executeCommandProvider: { commands: ['toy.goodbye'] },
  semanticTokensProvider: { legend: { tokenTypes: ['function'], tokenModifiers: [] }, full: true },
};

/** @type {Record<string, (params: any) => any>} */
const requests = {
  initialize({ rootUri }) {
    root = fileURLToPath(rootUri);
    return { capabilities };
  },
  shutdown: () => null,
  'textDocument/completion': () => ({
    isIncomplete: false,
    items: [
      { label: 'harpoon', kind: 3, detail: 'a tool' },
      { label: 'harbour', kind: 3, insertText: 'harbour($1)', insertTextFormat: 2 },
    ],
  }),
  'completionItem/resolve': (item) => ({
    ...item,
    documentation: { kind: 'markdown', value: `About **${item.label}**` },
    additionalTextEdits: [{ range: rangeIn('', 0, 0), newText: `use ${item.label}\n` }],
  }),
  'textDocument/hover'(params) {
    const { text, word, range } = wordAt(params);
    const value = word === 'whole' ? JSON.stringify(text) : `the word ${word}`;
    return { contents: { kind: 'plaintext', value }, range };
  },
  'textDocument/signatureHelp': () => ({
    signatures: [{ label: 'fish(size, depth)', parameters: [{ label: 'size' }, { label: [11, 16] }] }],
    activeSignature: 0,
    activeParameter: 1,
  }),
  'textDocument/definition'(params) {
    const { word } = wordAt(params);
    return files().flatMap(({ uri, text }) =>
      definitions(text)
        .filter(({ name }) => name === word)
        .map(({ selectionRange }) => ({ uri, range: selectionRange })),
    );
  },
  'textDocument/references'(params) {
    const { word } = wordAt(params);
    return files().flatMap(({ uri, text }) => places(text, word).map((range) => ({ uri, range })));
  },
  'textDocument/prepareRename'(params) {
    const { word, range } = wordAt(params);
    return word === 'def' ? null : { range, placeholder: word };
  },
  'textDocument/rename'({ newName, ...params }) {
    const { word } = wordAt(params);
    if (newName === 'def') throw new Error('def is a word of the language');
    const documentChanges = files().map(({ uri, version, text }) => ({
      textDocument: { uri, version },
      edits: places(text, word).map((range) => ({ range, newText: newName })),
    }));
    return { documentChanges: newName === 'files' ? [...documentChanges, ...filesAnew()] : documentChanges };
  },
  'textDocument/documentSymbol': ({ textDocument }) => definitions(documents.get(textDocument.uri).text),
  'textDocument/formatting'({ textDocument }) {
    const { text } = documents.get(textDocument.uri);
    return [...text.matchAll(/[ \t]+$/gm)].map(({ 0: blank, index }) => ({
      range: rangeIn(text, index, index + blank.length),
      newText: '',
    }));
  },
  'textDocument/codeAction': ({ textDocument, range, context }) => [
    ...context.diagnostics
      .filter(({ code }) => code === 'bad')
      .map((diagnostic) => ({
        title: 'Make it GOOD',
        kind: 'quickfix',
        isPreferred: true,
        data: { uri: textDocument.uri, range: diagnostic.range },
      })),
    ...(context.only?.includes('source.fixAll')
      ? [{ title: 'Make all GOOD', kind: 'source.fixAll', data: { uri: textDocument.uri, all: true, range } }]
      : []),
  ],
  'codeAction/resolve'(action) {
    const { uri, range, all } = action.data;
    const ranges = all ? places(documents.get(uri).text, 'BAD') : [range];
    return { ...action, edit: { changes: { [uri]: ranges.map((one) => ({ range: one, newText: 'GOOD' })) } } };
  },
  'textDocument/codeLens': ({ textDocument }) =>
    definitions(documents.get(textDocument.uri).text).map(({ range, name }) => ({
      range,
      command: { title: `say good-bye to ${name}`, command: 'toy.goodbye', arguments: [textDocument.uri] },
    })),
  'workspace/executeCommand'({ arguments: [uri] }) {
    const edit = { changes: { [uri]: [{ range: rangeIn('', 0, 0), newText: '# good-bye\n' }] } };
    send({ id: 'edit-1', method: 'workspace/applyEdit', params: { label: 'Good-bye', edit } });
    return null;
  },
  'textDocument/prepareCallHierarchy'(params) {
    const { word, range } = wordAt(params);
    return [{ name: word, kind: 12, uri: params.textDocument.uri, range, selectionRange: range }];
  },
  'callHierarchy/incomingCalls': ({ item }) =>
    files().flatMap(({ uri, text }) => {
      const calls = places(text, item.name).filter(({ start }) => start.character === 0);
      const from = { name: `fisher of ${item.name}`, kind: 12, uri, range: calls[0], selectionRange: calls[0] };
      return calls.length ? [{ from, fromRanges: calls }] : [];
    }),
  'callHierarchy/outgoingCalls': () => [],
  'textDocument/inlayHint': ({ textDocument }) =>
    definitions(documents.get(textDocument.uri).text).map(({ range }) => ({
      position: range.end,
      label: ': fish',
      kind: 1,
    })),
  'textDocument/foldingRange': () => [],
  'textDocument/semanticTokens/full': () => ({ data: [] }),
  'workspace/symbol': ({ query }) =>
    files().flatMap(({ uri, text }) =>
      definitions(text)
        .filter(({ name }) => name.includes(query))
        .map(({ name, kind, selectionRange }) => ({ name, kind, location: { uri, range: selectionRange } })),
    ),
};

/** @type {Record<string, (params: any) => void>} */
const notifications = {
  initialized() {},
  exit: () => process.exit(0),
  'textDocument/didOpen'({ textDocument: { uri, version, text } }) {
    documents.set(uri, { version, text });
    if (text.includes('DIES')) {
      process.stderr.write('it died of a text\n');
      process.exit(4);
    }
    findFaults(uri);
  },
  'textDocument/didChange'({ textDocument: { uri, version }, contentChanges }) {
    const before = documents.get(uri).text;
    let text = before;
    for (const { range, text: words } of contentChanges) {
      text = text.slice(0, offsetIn(text, range.start)) + words + text.slice(offsetIn(text, range.end));
    }
    documents.set(uri, { version, text });
    if (text.includes('CRASH') && !before.includes('CRASH')) {
      process.stderr.write('it crashed\n');
      process.exit(3);
    }
    findFaults(uri);
  },
  'textDocument/didClose': ({ textDocument }) => void documents.delete(textDocument.uri),
};

function take(message) {
  if (notes) appendFileSync(notes, `${JSON.stringify(message)}\n`);
  const { id, method, params } = message;
  if (id === undefined) return notifications[method]?.(params);
  if (!method) return undefined;
  try {
    return send({ id, result: requests[method](params) });
  } catch (error) {
    return send({ id, error: { code: -32603, message: error.message } });
  }
}

let input = Buffer.alloc(0);
process.stdin.on('data', (data) => {
  input = Buffer.concat([input, data]);
  for (;;) {
    const end = input.indexOf('\r\n\r\n');
    const length = Number(/content-length: *(\d+)/i.exec(input.subarray(0, end).toString())?.[1]);
    if (end < 0 || input.length < end + 4 + length) return;
    const body = input.subarray(end + 4, end + 4 + length).toString();
    input = input.subarray(end + 4 + length);
    take(JSON.parse(body));
  }
});
process.stdin.on('end', () => process.exit(0));
