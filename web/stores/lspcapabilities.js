// What the page can do as a client of language servers, and what a server says that it can.

import { listOf, recordOf, textOf } from './chatwire.js';

/** The field of the server's capabilities that stands for a method. @type {Record<string, string>} */
const PROVIDERS = {
  'textDocument/completion': 'completionProvider',
  'textDocument/hover': 'hoverProvider',
  'textDocument/signatureHelp': 'signatureHelpProvider',
  'textDocument/declaration': 'declarationProvider',
  'textDocument/definition': 'definitionProvider',
  'textDocument/typeDefinition': 'typeDefinitionProvider',
  'textDocument/implementation': 'implementationProvider',
  'textDocument/references': 'referencesProvider',
  'textDocument/documentSymbol': 'documentSymbolProvider',
  'textDocument/codeAction': 'codeActionProvider',
  'textDocument/codeLens': 'codeLensProvider',
  'textDocument/formatting': 'documentFormattingProvider',
  'textDocument/rangeFormatting': 'documentRangeFormattingProvider',
  'textDocument/onTypeFormatting': 'documentOnTypeFormattingProvider',
  'textDocument/rename': 'renameProvider',
  'textDocument/foldingRange': 'foldingRangeProvider',
  'textDocument/selectionRange': 'selectionRangeProvider',
  'textDocument/semanticTokens': 'semanticTokensProvider',
  'textDocument/inlayHint': 'inlayHintProvider',
  'textDocument/diagnostic': 'diagnosticProvider',
  'textDocument/prepareCallHierarchy': 'callHierarchyProvider',
  'workspace/symbol': 'workspaceSymbolProvider',
  'workspace/executeCommand': 'executeCommandProvider',
};

/** The names by which kinds of tokens and their marks are known here, in the order of their numbers. */
export const TOKEN_TYPES = [
  ...['namespace', 'type', 'class', 'enum', 'interface', 'struct', 'typeParameter', 'parameter', 'variable'],
  ...['property', 'enumMember', 'event', 'function', 'method', 'macro', 'keyword', 'modifier', 'comment'],
  ...['string', 'number', 'regexp', 'operator', 'decorator'],
];
export const TOKEN_MODIFIERS = [
  ...['declaration', 'definition', 'readonly', 'static', 'deprecated', 'abstract', 'async', 'modification'],
  ...['documentation', 'defaultLibrary'],
];

/** @param {number} most */
const upTo = (most) => Array.from({ length: most }, (_, index) => index + 1);

/** Registering later is taken for all that follow. */
const later = { dynamicRegistration: true };

export const CLIENT_CAPABILITIES = {
  general: { positionEncodings: ['utf-16'], staleRequestSupport: { cancel: true, retryOnContentModified: [] } },
  window: { workDoneProgress: true, showMessage: {}, showDocument: { support: true } },
  workspace: {
    applyEdit: true,
    workspaceEdit: {
      documentChanges: true,
      resourceOperations: ['create', 'rename', 'delete'],
      failureHandling: 'abort',
    },
    configuration: true,
    workspaceFolders: true,
    didChangeConfiguration: later,
    didChangeWatchedFiles: { dynamicRegistration: true, relativePatternSupport: true },
    executeCommand: later,
    symbol: { ...later, symbolKind: { valueSet: upTo(26) } },
    semanticTokens: { refreshSupport: true },
    inlayHint: { refreshSupport: true },
    codeLens: { refreshSupport: true },
    diagnostics: { refreshSupport: true },
  },
  textDocument: {
    synchronization: { dynamicRegistration: true, didSave: true },
    publishDiagnostics: { relatedInformation: true, versionSupport: true, tagSupport: { valueSet: [1, 2] } },
    diagnostic: { ...later, relatedDocumentSupport: true },
    completion: {
      ...later,
      contextSupport: true,
      completionItem: {
        snippetSupport: true,
        commitCharactersSupport: true,
        documentationFormat: ['markdown', 'plaintext'],
        deprecatedSupport: true,
        preselectSupport: true,
        insertReplaceSupport: true,
        labelDetailsSupport: true,
        tagSupport: { valueSet: [1] },
        resolveSupport: { properties: ['documentation', 'detail', 'additionalTextEdits'] },
      },
      completionItemKind: { valueSet: upTo(25) },
      completionList: { itemDefaults: ['commitCharacters', 'editRange', 'insertTextFormat', 'data'] },
    },
    hover: { ...later, contentFormat: ['markdown', 'plaintext'] },
    signatureHelp: {
      ...later,
      contextSupport: true,
      signatureInformation: {
        documentationFormat: ['markdown', 'plaintext'],
        parameterInformation: { labelOffsetSupport: true },
        activeParameterSupport: true,
      },
    },
    declaration: { ...later, linkSupport: true },
    definition: { ...later, linkSupport: true },
    typeDefinition: { ...later, linkSupport: true },
    implementation: { ...later, linkSupport: true },
    references: later,
    documentSymbol: {
      ...later,
      hierarchicalDocumentSymbolSupport: true,
      symbolKind: { valueSet: upTo(26) },
    },
    codeAction: {
      ...later,
      isPreferredSupport: true,
      disabledSupport: true,
      dataSupport: true,
      resolveSupport: { properties: ['edit', 'command'] },
      codeActionLiteralSupport: {
        codeActionKind: {
          valueSet: [
            ...['', 'quickfix', 'refactor', 'refactor.extract', 'refactor.inline', 'refactor.rewrite'],
            ...['source', 'source.organizeImports', 'source.fixAll'],
          ],
        },
      },
    },
    codeLens: later,
    formatting: later,
    rangeFormatting: later,
    onTypeFormatting: later,
    rename: { ...later, prepareSupport: true },
    foldingRange: later,
    selectionRange: later,
    inlayHint: { ...later, resolveSupport: { properties: ['tooltip', 'label.tooltip'] } },
    semanticTokens: {
      ...later,
      requests: { range: false, full: { delta: false } },
      formats: ['relative'],
      tokenTypes: TOKEN_TYPES,
      tokenModifiers: TOKEN_MODIFIERS,
      overlappingTokenSupport: false,
      multilineTokenSupport: false,
      augmentsSyntaxTokens: true,
    },
    callHierarchy: later,
  },
};

/** What one server can do: what it said at the start, and what it registers and takes back as it runs. */
export class ServerAbilities {
  /** @param {unknown} capabilities */
  constructor(capabilities) {
    this.fixed = recordOf(capabilities);
    /** @type {Map<string, {method: string, options: Record<string, any>}>} by the server's own id */
    this.registered = new Map();
  }

  /** @param {unknown} params of "client/registerCapability" */
  register(params) {
    for (const one of listOf(recordOf(params).registrations)) {
      const { id, method, registerOptions } = recordOf(one);
      this.registered.set(textOf(id), { method: textOf(method), options: recordOf(registerOptions) });
    }
  }

  /** @param {unknown} params of "client/unregisterCapability"; the protocol itself has the misspelling */
  unregister(params) {
    const { unregisterations, unregistrations } = recordOf(params);
    for (const one of listOf(unregisterations ?? unregistrations)) this.registered.delete(textOf(one?.id));
  }

  /**
   * How a method is offered; null when it is not.
   * @param {string} method
   * @returns {Record<string, any> | null}
   */
  options(method) {
    const later = this.all(method).at(-1);
    if (later) return later;
    const fixed = this.fixed[PROVIDERS[method]];
    return fixed === undefined || fixed === null || fixed === false ? null : recordOf(fixed);
  }

  /**
   * Everything that was registered for a method.
   * @param {string} method
   */
  all(method) {
    return [...this.registered.values()].filter((one) => one.method === method).map(({ options }) => options);
  }

  /** How documents are told: a registration that says more wins over the start. */
  get sync() {
    const change = this.all('textDocument/didChange').at(-1);
    const save = this.all('textDocument/didSave').at(-1);
    if (!change && !save) return this.fixed.textDocumentSync;
    const fixed = this.fixed.textDocumentSync;
    const base = typeof fixed === 'number' ? { change: fixed, openClose: fixed !== 0 } : recordOf(fixed);
    return {
      ...base,
      ...(change && { change: change.syncKind, openClose: true }),
      ...(save && { save: { includeText: save.includeText === true } }),
    };
  }

  /** The commands that the server carries out itself. @returns {string[]} */
  get commands() {
    const later = this.all('workspace/executeCommand').flatMap(({ commands }) => listOf(commands));
    return [...listOf(recordOf(this.fixed.executeCommandProvider).commands), ...later].map(textOf);
  }
}
