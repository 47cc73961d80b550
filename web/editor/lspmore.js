// More of what language servers know: fixes, remarks above and within lines, colours of names, folds, and how
// a selection grows.

import { listOf, recordOf, textOf } from '../stores/chatwire.js';
import { rangeFrom } from '../stores/lspwire.js';
import { fromRange, rangeOrNull, toPosition, toRange, words } from './lspconvert.js';

/** @typedef {import('./lspfeatures.js').Feature} Feature */

/** @type {Feature} */
const codeAction = ({ monaco, languages, options, ask, actionCommand, findings }) =>
  monaco.languages.registerCodeActionProvider(
    languages,
    {
      async provideCodeActions(model, range, context, token) {
        const answer = await ask(
          model,
          'textDocument/codeAction',
          {
            range: toRange(range),
            context: {
              diagnostics: findings(model, range),
              triggerKind: context.trigger,
              ...(context.only && { only: [context.only] }),
            },
          },
          token,
        );
        const actions = listOf(answer).map((one) => ({
          title: textOf(one.title),
          kind: textOf(one.kind) || undefined,
          isPreferred: one.isPreferred === true,
          disabled: textOf(recordOf(one.disabled).reason) || undefined,
          diagnostics: context.markers,
          command: actionCommand(one),
        }));
        return { actions: actions.filter(({ title }) => title), dispose() {} };
      },
    },
    { providedCodeActionKinds: listOf(options.codeActionKinds).map(textOf) },
  );

/** @type {Feature} */
function codeLens({ monaco, languages, options, ask, request, command, onRefresh }) {
  const changed = new monaco.Emitter();
  const refresh = onRefresh('codeLens', () => changed.fire(provider));
  /** @type {WeakMap<object, any>} */
  const sent = new WeakMap();
  /** @param {any} raw what cannot be run is only read */
  const commandOf = (raw) => {
    const title = textOf(recordOf(raw).title);
    return title ? (command(raw) ?? { id: '', title }) : undefined;
  };
  /** @type {import('monaco').languages.CodeLensProvider} */
  const provider = {
    onDidChange: changed.event,
    async provideCodeLenses(model, token) {
      const lenses = listOf(await ask(model, 'textDocument/codeLens', {}, token)).flatMap((one) => {
        const range = rangeOrNull(recordOf(one).range);
        if (!range) return [];
        const lens = { range, command: commandOf(one.command) };
        sent.set(lens, one);
        return [lens];
      });
      return { lenses, dispose() {} };
    },
    async resolveCodeLens(_, lens, token) {
      if (lens.command || options.resolveProvider !== true) return lens;
      const answer = await request('codeLens/resolve', sent.get(lens), token);
      return { ...lens, command: commandOf(recordOf(answer).command) };
    },
  };
  return together(monaco.languages.registerCodeLensProvider(languages, provider), refresh, changed);
}

/** @param {import('monaco').IDisposable[]} parts */
const together = (...parts) => ({ dispose: () => parts.forEach((part) => part.dispose()) });

/** @type {Feature} */
function inlayHint({ monaco, languages, ask, onRefresh }) {
  const changed = new monaco.Emitter();
  const refresh = onRefresh('inlayHint', () => changed.fire(undefined));
  const provided = monaco.languages.registerInlayHintsProvider(languages, {
    onDidChangeInlayHints: /** @type {any} */ (changed.event),
    async provideInlayHints(model, range, token) {
      const answer = await ask(model, 'textDocument/inlayHint', { range: toRange(range) }, token);
      const hints = listOf(answer).flatMap((one) => {
        const { position, label, tooltip, kind, paddingLeft, paddingRight } = recordOf(one);
        const at = rangeFrom({ start: position, end: position });
        if (!at) return [];
        const { startLineNumber: lineNumber, startColumn: column } = fromRange(at);
        const parts = Array.isArray(label) ? label.map((part) => textOf(recordOf(part).value)).join('') : textOf(label);
        return [
          {
            position: { lineNumber, column },
            label: parts,
            tooltip: words(tooltip),
            kind: kind === 1 || kind === 2 ? kind : undefined,
            paddingLeft: paddingLeft === true,
            paddingRight: paddingRight === true,
          },
        ];
      });
      return { hints, dispose() {} };
    },
  });
  return together(provided, refresh, changed);
}

/** @type {Feature} */
function semanticTokens({ monaco, languages, options, ask, onRefresh }) {
  const { tokenTypes, tokenModifiers } = recordOf(options.legend);
  const legend = {
    tokenTypes: listOf(tokenTypes).map(textOf),
    tokenModifiers: listOf(tokenModifiers).map(textOf),
  };
  if (!options.full) return { dispose() {} };
  const changed = new monaco.Emitter();
  const refresh = onRefresh('semanticTokens', () => changed.fire(undefined));
  const provided = monaco.languages.registerDocumentSemanticTokensProvider(languages, {
    onDidChange: /** @type {any} */ (changed.event),
    getLegend: () => legend,
    async provideDocumentSemanticTokens(model, _, token) {
      const { data } = recordOf(await ask(model, 'textDocument/semanticTokens/full', {}, token));
      return Array.isArray(data) ? { data: Uint32Array.from(data) } : null;
    },
    releaseDocumentSemanticTokens() {},
  });
  return together(provided, refresh, changed);
}

/** @type {Feature} */
const foldingRange = ({ monaco, languages, ask }) =>
  monaco.languages.registerFoldingRangeProvider(languages, {
    async provideFoldingRanges(model, _, token) {
      const answer = await ask(model, 'textDocument/foldingRange', {}, token);
      return listOf(answer)
        .map(recordOf)
        .filter(({ startLine, endLine }) => Number.isInteger(startLine) && endLine > startLine)
        .map(({ startLine, endLine, kind }) => ({
          start: startLine + 1,
          end: endLine + 1,
          kind: textOf(kind) ? new monaco.languages.FoldingRangeKind(kind) : undefined,
        }));
    },
  });

/** @type {Feature} */
const selectionRange = ({ monaco, languages, ask }) =>
  monaco.languages.registerSelectionRangeProvider(languages, {
    async provideSelectionRanges(model, positions, token) {
      const params = { positions: positions.map(toPosition) };
      const answer = await ask(model, 'textDocument/selectionRange', params, token);
      return listOf(answer).map((one) => {
        const found = [];
        for (let each = recordOf(one); rangeFrom(each.range); each = recordOf(each.parent))
          found.push({ range: fromRange(/** @type {any} */ (rangeFrom(each.range))) });
        return found;
      });
    },
  });

/** @type {[string, Feature][]} */
export const kMoreFeatures = [
  ['textDocument/codeAction', codeAction],
  ['textDocument/codeLens', codeLens],
  ['textDocument/inlayHint', inlayHint],
  ['textDocument/semanticTokens', semanticTokens],
  ['textDocument/foldingRange', foldingRange],
  ['textDocument/selectionRange', selectionRange],
];
