// What language servers know, as the text editor asks for it: proposals, hovers, signatures, places, names,
// symbols, formats. One row a method of the protocol; a server gets the rows that it offers.

import { listOf, recordOf, textOf } from '../stores/chatwire.js';
import { allWords, completionOf, editOperations, rangeOrNull, symbolsOf, toPosition, toRange, words } from './lspconvert.js';

/**
 * @typedef {typeof import('monaco')} Monaco
 * @typedef {import('monaco').editor.ITextModel} Model
 * @typedef {import('monaco').CancellationToken} Token
 *
 * What a feature works with: `ask` gives null for nothing, for what failed and for what came too late.
 * @typedef {object} Tools
 * @property {Monaco} monaco
 * @property {string} server
 * @property {string[]} languages
 * @property {Record<string, any>} options how the server offers the method
 * @property {(model: Model, method: string, params: Record<string, unknown>, token: Token,
 *   options?: {anyVersion?: boolean, loud?: boolean}) => Promise<any>} ask `loud` rejects with the server's words
 * @property {(method: string, params: unknown, token?: Token) => Promise<any>} request not about a text
 * @property {(answer: unknown) => Promise<import('monaco').languages.Location[]>} places
 * @property {(edit: unknown) => Promise<void>} applyEdit
 * @property {(command: unknown) => import('monaco').languages.Command | undefined} command
 * @property {(action: unknown) => import('monaco').languages.Command} actionCommand
 * @property {(model: Model, range: import('monaco').IRange) => Record<string, any>[]} findings as the server sent them
 * @property {(method: string, fn: () => void) => import('monaco').IDisposable} onRefresh
 *
 * @typedef {(tools: Tools) => import('monaco').IDisposable} Feature
 */

/** @type {Feature} */
function completion({ monaco, languages, options, ask, request, command }) {
  /** What the server sent for a proposal, to ask for the rest of it. @type {WeakMap<object, unknown>} */
  const sent = new WeakMap();
  return monaco.languages.registerCompletionItemProvider(languages, {
    triggerCharacters: listOf(options.triggerCharacters).map(textOf),
    async provideCompletionItems(model, position, context, token) {
      const answer = await ask(
        model,
        'textDocument/completion',
        {
          position: toPosition(position),
          context: { triggerKind: context.triggerKind + 1, triggerCharacter: context.triggerCharacter },
        },
        token,
        { anyVersion: true }, // the list narrows itself to what was typed meanwhile
      );
      const list = Array.isArray(answer) ? { items: answer } : recordOf(answer);
      const defaults = recordOf(list.itemDefaults);
      const fallback = wordRanges(monaco, model, position);
      const suggestions = listOf(list.items).map((raw) => {
        /** @type {Record<string, any>} */
        const whole = { ...recordOf(raw), data: raw?.data ?? defaults.data };
        const item = completionOf(monaco, whole, defaults, fallback);
        item.command = command(whole.command);
        sent.set(item, whole);
        return item;
      });
      return { suggestions, incomplete: list.isIncomplete === true };
    },
    async resolveCompletionItem(item, token) {
      if (options.resolveProvider !== true || !sent.has(item)) return item;
      const { detail, documentation, additionalTextEdits } = recordOf(
        await request('completionItem/resolve', sent.get(item), token),
      );
      if (textOf(detail)) item.detail = detail;
      item.documentation = words(documentation) ?? item.documentation;
      if (Array.isArray(additionalTextEdits)) item.additionalTextEdits = editOperations(additionalTextEdits);
      return item;
    },
  });
}

/**
 * The word before the cursor, to be kept or replaced together with what follows of it.
 * @param {Monaco} monaco
 * @param {Model} model
 * @param {import('monaco').Position} position
 */
function wordRanges(monaco, model, { lineNumber, column }) {
  const { startColumn } = model.getWordUntilPosition({ lineNumber, column });
  const end = model.getWordAtPosition({ lineNumber, column })?.endColumn ?? column;
  return {
    insert: new monaco.Range(lineNumber, startColumn, lineNumber, column),
    replace: new monaco.Range(lineNumber, startColumn, lineNumber, Math.max(end, column)),
  };
}

/** @type {Feature} */
const hover = ({ monaco, languages, ask }) =>
  monaco.languages.registerHoverProvider(languages, {
    async provideHover(model, position, token) {
      const answer = await ask(model, 'textDocument/hover', { position: toPosition(position) }, token);
      const { contents, range } = recordOf(answer);
      const list = allWords(contents);
      return list.length ? { contents: list, range: rangeOrNull(range) ?? undefined } : null;
    },
  });

/** @type {Feature} */
const signatureHelp = ({ monaco, languages, options, ask }) =>
  monaco.languages.registerSignatureHelpProvider(languages, {
    signatureHelpTriggerCharacters: listOf(options.triggerCharacters).map(textOf),
    signatureHelpRetriggerCharacters: listOf(options.retriggerCharacters).map(textOf),
    async provideSignatureHelp(model, position, token, context) {
      const answer = await ask(
        model,
        'textDocument/signatureHelp',
        {
          position: toPosition(position),
          context: {
            triggerKind: context.triggerKind,
            triggerCharacter: context.triggerCharacter,
            isRetrigger: context.isRetrigger,
          },
        },
        token,
        { anyVersion: true },
      );
      const { signatures, activeSignature, activeParameter } = recordOf(answer);
      if (!listOf(signatures).length) return null;
      const value = {
        signatures: listOf(signatures).map((one) => ({
          label: textOf(one.label),
          documentation: words(one.documentation),
          activeParameter: one.activeParameter ?? undefined,
          parameters: listOf(one.parameters).map((each) => ({
            label: each.label,
            documentation: words(each.documentation),
          })),
        })),
        activeSignature: Number(activeSignature) || 0,
        activeParameter: Number(activeParameter) || 0,
      };
      return { value, dispose() {} };
    },
  });

/**
 * @param {string} method
 * @param {(monaco: Monaco) => (languages: string[], provider: any) => import('monaco').IDisposable} register
 * @param {string} name of the provider's function
 * @returns {Feature}
 */
function placesOf(method, register, name) {
  return ({ monaco, languages, ask, places }) =>
    register(monaco)(languages, {
      /** @param {Model} model @param {import('monaco').Position} position @param {Token} token */
      [name]: async (model, position, token) =>
        places(await ask(model, method, { position: toPosition(position) }, token)),
    });
}

/** @type {Feature} */
const references = ({ monaco, languages, ask, places }) =>
  monaco.languages.registerReferenceProvider(languages, {
    async provideReferences(model, position, { includeDeclaration }, token) {
      const params = { position: toPosition(position), context: { includeDeclaration } };
      return places(await ask(model, 'textDocument/references', params, token));
    },
  });

/** @type {Feature} */
const rename = ({ monaco, languages, options, ask, applyEdit }) =>
  monaco.languages.registerRenameProvider(languages, {
    async provideRenameEdits(model, position, newName, token) {
      try {
        const params = { position: toPosition(position), newName };
        const edit = await ask(model, 'textDocument/rename', params, token, { loud: true });
        if (!edit) return { edits: [], rejectReason: 'There is nothing to rename here.' };
        // Also files that are not open are changed, which the text editor itself cannot.
        await applyEdit(edit);
        return { edits: [] };
      } catch (error) {
        return { edits: [], rejectReason: error instanceof Error ? error.message : String(error) };
      }
    },
    ...(options.prepareProvider === true && {
      async resolveRenameLocation(model, position, token) {
        const word = model.getWordAtPosition(position);
        const { lineNumber, column } = position;
        const range = new monaco.Range(lineNumber, word?.startColumn ?? column, lineNumber, word?.endColumn ?? column);
        const here = { range, text: word?.word ?? '' };
        try {
          const params = { position: toPosition(position) };
          const answer = await ask(model, 'textDocument/prepareRename', params, token, { loud: true });
          if (!answer) return { ...here, rejectReason: 'This cannot be renamed.' };
          const named = rangeOrNull(answer) ?? rangeOrNull(answer.range);
          if (!named) return here;
          return { range: named, text: textOf(answer.placeholder) || model.getValueInRange(named) };
        } catch (error) {
          return { ...here, rejectReason: error instanceof Error ? error.message : String(error) };
        }
      },
    }),
  });

/** @type {Feature} */
const documentSymbol = ({ monaco, languages, server, ask }) =>
  monaco.languages.registerDocumentSymbolProvider(languages, {
    displayName: server,
    async provideDocumentSymbols(model, token) {
      return symbolsOf(await ask(model, 'textDocument/documentSymbol', {}, token));
    },
  });

/** @param {import('monaco').languages.FormattingOptions} options */
const formatOptions = ({ tabSize, insertSpaces }) => ({ tabSize, insertSpaces });

/** @type {Feature} */
const formatting = ({ monaco, languages, server, ask }) =>
  monaco.languages.registerDocumentFormattingEditProvider(languages, {
    displayName: server,
    async provideDocumentFormattingEdits(model, options, token) {
      const params = { options: formatOptions(options) };
      return editOperations(await ask(model, 'textDocument/formatting', params, token));
    },
  });

/** @type {Feature} */
const rangeFormatting = ({ monaco, languages, server, ask }) =>
  monaco.languages.registerDocumentRangeFormattingEditProvider(languages, {
    displayName: server,
    async provideDocumentRangeFormattingEdits(model, range, options, token) {
      const params = { range: toRange(range), options: formatOptions(options) };
      return editOperations(await ask(model, 'textDocument/rangeFormatting', params, token));
    },
  });

/** @type {[string, Feature][]} */
export const kFeatures = [
  ['textDocument/completion', completion],
  ['textDocument/hover', hover],
  ['textDocument/signatureHelp', signatureHelp],
  [
    'textDocument/definition',
    placesOf('textDocument/definition', (monaco) => monaco.languages.registerDefinitionProvider, 'provideDefinition'),
  ],
  [
    'textDocument/declaration',
    placesOf('textDocument/declaration', (monaco) => monaco.languages.registerDeclarationProvider, 'provideDeclaration'),
  ],
  [
    'textDocument/typeDefinition',
    placesOf(
      'textDocument/typeDefinition',
      (monaco) => monaco.languages.registerTypeDefinitionProvider,
      'provideTypeDefinition',
    ),
  ],
  [
    'textDocument/implementation',
    placesOf(
      'textDocument/implementation',
      (monaco) => monaco.languages.registerImplementationProvider,
      'provideImplementation',
    ),
  ],
  ['textDocument/references', references],
  ['textDocument/rename', rename],
  ['textDocument/documentSymbol', documentSymbol],
  ['textDocument/formatting', formatting],
  ['textDocument/rangeFormatting', rangeFormatting],
];
