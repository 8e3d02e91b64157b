import { defaultKeymap, history, historyKeymap, invertedEffects } from "@codemirror/commands";
import { redo, redoDepth, undo, undoDepth } from "@codemirror/commands";
import { HighlightStyle, StreamLanguage, syntaxHighlighting } from "@codemirror/language";
import { type Diagnostic, lintGutter, lintKeymap, setDiagnostics } from "@codemirror/lint";
import { highlightSelectionMatches, searchKeymap } from "@codemirror/search";
import { EditorState, RangeSetBuilder, StateEffect, StateField, type Text } from "@codemirror/state";
import { Decoration, type DecorationSet, EditorView, WidgetType, drawSelection } from "@codemirror/view";
import { highlightActiveLine, highlightActiveLineGutter, highlightSpecialChars } from "@codemirror/view";
import { keymap, lineNumbers } from "@codemirror/view";
import { tags } from "@lezer/highlight";
import { type Edit, type Encoding, type Finding, type Payload, type StatusValues, toBytes } from "./core";
import { fixOf } from "./fixes";

/** Shows a payload as text after its line. */
class PayloadText extends WidgetType {
  constructor(readonly text: string) {
    super();
  }
  eq(other: PayloadText) {
    return other.text === this.text;
  }
  toDOM() {
    const span = document.createElement("span");
    span.className = "payload-text";
    span.textContent = this.text;
    return span;
  }
}

const maxUnderlined = 2000;

const showPayloads = StateEffect.define<Payload[]>();

const payloadField = StateField.define<DecorationSet>({
  create: () => Decoration.none,
  update(shown, transaction) {
    for (const effect of transaction.effects) {
      if (effect.is(showPayloads)) return payloadDecorations(transaction.state.doc, effect.value);
    }
    return shown.map(transaction.changes);
  },
  provide: (field) => EditorView.decorations.from(field),
});

function payloadDecorations(doc: Text, payloads: Payload[]): DecorationSet {
  const builder = new RangeSetBuilder<Decoration>();
  for (const { line, text } of payloads) {
    if (line > doc.lines) break;
    const end = doc.line(line).to;
    const short = text.length > 80 ? `${text.slice(0, 80)}…` : text;
    builder.add(end, end, Decoration.widget({ widget: new PayloadText(short), side: 1 }));
  }
  return builder.finish();
}

// The status values belong to the state, so that the history has their changes, too.
const setStatus = StateEffect.define<StatusValues>();

const statusField = StateField.define<StatusValues>({
  create: () => ({ values: [], complete: false }),
  update: (status, { effects }) => effects.find((effect) => effect.is(setStatus))?.value ?? status,
});

const undoStatus = invertedEffects.of(({ effects, startState }) =>
  effects.some((effect) => effect.is(setStatus)) ? [setStatus.of(startState.field(statusField))] : [],
);

const keyAndValue = StreamLanguage.define<{ inValue: boolean }>({
  startState: () => ({ inValue: false }),
  token(stream, state) {
    if (stream.sol()) state.inValue = false;
    if (!state.inValue && stream.eat("=")) {
      state.inValue = true;
      return "operator";
    }
    if (state.inValue) stream.skipToEnd();
    else if (!stream.skipTo("=")) stream.skipToEnd();
    return state.inValue ? "string" : "propertyName";
  },
});

const colours = HighlightStyle.define([
  { tag: tags.propertyName, color: "var(--key)" },
  { tag: tags.operator, color: "var(--quiet)" },
  { tag: tags.string, color: "var(--text)" },
]);

/** Returns the position of a byte column (from 1) of a line. */
function positionOf(doc: Text, line: number, column: number, encoding: Encoding): number {
  if (line > doc.lines) return doc.length;
  const { from, to, text } = doc.line(line);
  let bytes = 1;
  let at = 0;
  while (at < text.length && bytes < column) {
    const letter = String.fromCodePoint(text.codePointAt(at) ?? 0);
    bytes += letter < "\x80" ? 1 : toBytes(letter, encoding).length;
    at += letter.length;
  }
  return Math.min(from + at, to);
}

/** Returns the position a number of bytes after `from`, newlines included. */
function positionAfter(doc: Text, from: number, bytes: number, encoding: Encoding): number {
  let at = from;
  for (const letter of doc.sliceString(from, from + bytes)) {
    if (bytes <= 0) break;
    bytes -= letter < "\x80" ? 1 : toBytes(letter, encoding).length;
    at += letter.length;
  }
  return at;
}

export type Editor = ReturnType<typeof createEditor>;

/** Creates the editor. Calls `onChange` after each change of its text or the status values. */
export function createEditor(parent: HTMLElement, onChange: () => void) {
  let encoding: Encoding = "utf-8";
  let pending = false;
  const report = () => {
    pending = false;
    onChange();
  };
  const reportSoon = () => {
    if (pending) return;
    pending = true;
    queueMicrotask(report); // a view cannot be changed while it updates
  };
  const extensions = [
    EditorState.lineSeparator.of("\n"), // carriage returns stay in the text
    lineNumbers(),
    lintGutter(),
    highlightActiveLineGutter(),
    highlightSpecialChars(),
    highlightActiveLine(),
    highlightSelectionMatches(),
    drawSelection(),
    history(),
    statusField,
    undoStatus,
    payloadField,
    keyAndValue,
    syntaxHighlighting(colours),
    EditorView.lineWrapping,
    EditorView.contentAttributes.of({ "aria-label": "Definition file", spellcheck: "false", tabindex: "0" }),
    keymap.of([...defaultKeymap, ...historyKeymap, ...searchKeymap, ...lintKeymap]),
    EditorView.updateListener.of((update) => {
      const { startState, state } = update;
      if (update.docChanged || startState.field(statusField) !== state.field(statusField)) reportSoon();
    }),
  ];
  const view = new EditorView({ parent, state: EditorState.create({ extensions }) });
  let saved: Text | null = view.state.doc; // null if the file has another text

  /** Applies edits and scrolls to the last one, which it selects if `select`. */
  const apply = (edits: Edit[], select = false) => {
    const { doc } = view.state;
    const changes = view.state.changes(
      edits.map((edit) => {
        const from = positionOf(doc, edit.line, edit.column, encoding);
        const to = positionAfter(doc, from, edit.length, encoding);
        return { from, to, insert: view.state.toText(edit.text) };
      }),
    );
    const last = edits.at(-1);
    if (last === undefined) return;
    const at = positionOf(doc, last.line, last.column, encoding);
    const anchor = changes.mapPos(at, -1);
    const head = changes.mapPos(at, 1);
    view.dispatch({
      changes,
      selection: select ? { anchor, head } : undefined,
      effects: EditorView.scrollIntoView(head, { y: select ? "end" : "nearest", yMargin: 30 }),
      userEvent: "input.fix",
    });
  };

  return {
    text: () => view.state.doc.toString(),
    encoding: () => encoding,
    status: () => view.state.field(statusField),
    setStatus: (status: StatusValues) => view.dispatch({ effects: setStatus.of(status) }),
    /** Replaces text and status values, and clears the undo history. */
    load(text: string, newEncoding: Encoding, unsaved: boolean, status: StatusValues) {
      encoding = newEncoding;
      const withStatus = [statusField.init(() => status), extensions];
      view.setState(EditorState.create({ doc: text, extensions: withStatus }));
      saved = unsaved ? null : view.state.doc;
      reportSoon();
    },
    unsaved: () => saved === null || !view.state.doc.eq(saved),
    markSaved(text: string) {
      saved = view.state.toText(text);
    },
    show(findings: Finding[], payloads: Payload[]) {
      const { doc } = view.state;
      const diagnostics = findings.slice(0, maxUnderlined).map((finding): Diagnostic => {
        const fix = fixOf(finding);
        return {
          from: positionOf(doc, finding.line, finding.column, encoding),
          to: positionOf(doc, finding.line, finding.column + finding.length, encoding),
          severity: finding.severity === "note" ? "info" : finding.severity,
          source: finding.rule,
          message: finding.hint === "" ? finding.text : `${finding.text}\n${finding.hint}`,
          actions: fix === null ? [] : [{ name: fix.label, apply: () => apply(fix.edits) }],
        };
      });
      view.dispatch(setDiagnostics(view.state, diagnostics), { effects: showPayloads.of(payloads) });
    },
    apply,
    goTo(line: number, column: number) {
      const anchor = positionOf(view.state.doc, line, column, encoding);
      view.dispatch({ selection: { anchor }, effects: EditorView.scrollIntoView(anchor, { y: "center" }) });
      view.focus();
    },
    undo: () => void undo(view),
    redo: () => void redo(view),
    canUndo: () => undoDepth(view.state) > 0,
    canRedo: () => redoDepth(view.state) > 0,
  };
}
