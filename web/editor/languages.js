// Languages that the bridge names and the text editor's own set lacks: how they are coloured.

/** @typedef {{id: string, title: string, rules: object, configuration: object}} OwnLanguage */

const kBrackets = [
  ['{', '}'],
  ['[', ']'],
  ['(', ')'],
];
const kPairs = [...kBrackets, ['"', '"']].map(([open, close]) => ({ open, close }));

/** JSON with comments, which editors' own settings files use. */
const json = {
  id: 'json',
  title: 'JSON',
  configuration: {
    comments: { lineComment: '//', blockComment: ['/*', '*/'] },
    brackets: kBrackets,
    autoClosingPairs: kPairs,
  },
  rules: {
    tokenizer: {
      root: [
        [/"(?:[^"\\]|\\.)*"(?=\s*:)/, 'attribute.name'],
        [/"(?:[^"\\]|\\.)*"/, 'string'],
        [/"(?:[^"\\]|\\.)*$/, 'string.invalid'],
        [/-?\d+(?:\.\d+)?(?:[eE][+-]?\d+)?/, 'number'],
        [/\b(?:true|false|null)\b/, 'keyword'],
        [/\/\/.*$/, 'comment'],
        [/\/\*/, 'comment', '@comment'],
        [/[{}[\](),:]/, 'delimiter'],
      ],
      comment: [
        [/[^*]+/, 'comment'],
        [/\*\//, 'comment', '@pop'],
        [/\*/, 'comment'],
      ],
    },
  },
};

/** Nested blocks of quoted or bare names and values, as game tools write their settings. */
const keyvalues = {
  id: 'keyvalues',
  title: 'KeyValues',
  configuration: {
    comments: { lineComment: '//' },
    brackets: [['{', '}']],
    autoClosingPairs: kPairs,
  },
  rules: {
    tokenizer: {
      root: [
        [/\/\/.*$/, 'comment'],
        [/#(?:base|include)\b/, 'keyword'],
        [/\[[^\]]*\]/, 'metatag'],
        [/"(?:[^"\\]|\\.)*"(?=\s*(?:\[[^\]]*\]\s*)?(?:\{|$))/, 'type'],
        [/"(?:[^"\\]|\\.)*"(?=\s*")/, 'attribute.name'],
        [/"(?:[^"\\]|\\.)*"/, 'string'],
        [/-?\d+(?:\.\d+)?\b/, 'number'],
        [/[$%]?[A-Za-z_][\w.]*/, 'attribute.name'],
        [/[{}]/, 'delimiter'],
      ],
    },
  },
};

/** Scripts of a model compiler: commands that begin with a dollar sign, and their options. */
const qc = {
  id: 'qc',
  title: 'QC',
  configuration: {
    comments: { lineComment: '//', blockComment: ['/*', '*/'] },
    brackets: [['{', '}']],
    autoClosingPairs: kPairs,
  },
  rules: {
    tokenizer: {
      root: [
        [/\/\/.*$/, 'comment'],
        [/\/\*/, 'comment', '@comment'],
        [/\$[A-Za-z_]\w*/, 'keyword'],
        [/"(?:[^"\\]|\\.)*"/, 'string'],
        [/-?\d+(?:\.\d+)?\b/, 'number'],
        [/[A-Za-z_]\w*/, 'identifier'],
        [/[{}]/, 'delimiter'],
      ],
      comment: [
        [/[^*]+/, 'comment'],
        [/\*\//, 'comment', '@pop'],
        [/\*/, 'comment'],
      ],
    },
  },
};

/** @type {readonly OwnLanguage[]} */
export const kOwnLanguages = [json, keyvalues, qc];
