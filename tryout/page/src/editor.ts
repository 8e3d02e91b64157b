import { defaultKeymap, history, historyKeymap } from "@codemirror/commands";
import { HighlightStyle, StreamLanguage, syntaxHighlighting } from "@codemirror/language";
import { type Diagnostic, lintGutter, lintKeymap, setDiagnostics } from "@codemirror/lint";
import { highlightSelectionMatches, searchKeymap } from "@codemirror/search";
import { EditorState, RangeSetBuilder, StateEffect, StateField, type Text } from "@codemirror/state";
import {
  Decoration,
  type DecorationSet,
  EditorView,
  WidgetType,
  drawSelection,
  highlightActiveLine,
  highlightActiveLineGutter,
  highlightSpecialChars,
  keymap,
  lineNumbers,
} from "@codemirror/view";
import { tags } from "@lezer/highlight";
import { type Edit, type Encoding, type Finding, toBytes } from "./core";
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

const showPayloads = StateEffect.define<{ line: number; text: string }[]>();

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

function payloadDecorations(doc: Text, payloads: { line: number; text: string }[]): DecorationSet {
  const builder = new RangeSetBuilder<Decoration>();
  for (const { line, text } of payloads) {
    if (line > doc.lines) break;
    const end = doc.line(line).to;
    const short = text.length > 80 ? `${text.slice(0, 80)}…` : text;
    builder.add(end, end, Decoration.widget({ widget: new PayloadText(short), side: 1 }));
  }
  return builder.finish();
}

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

export interface Editor {
  text(): string;
  encoding(): Encoding;
  /** Replaces the text and clears the undo history. */
  setText(text: string, encoding: Encoding, unsaved: boolean): void;
  unsaved(): boolean;
  markSaved(text: string): void;
  show(findings: Finding[], payloads: { line: number; text: string }[]): void;
  apply(edits: Edit[]): void;
  goTo(line: number, column: number): void;
}

/** Creates the editor. Calls `onChange` after each change of its text. */
export function createEditor(parent: HTMLElement, onChange: () => void): Editor {
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
    payloadField,
    keyAndValue,
    syntaxHighlighting(colours),
    EditorView.lineWrapping,
    EditorView.contentAttributes.of({ "aria-label": "Definition file", spellcheck: "false", tabindex: "0" }),
    keymap.of([...defaultKeymap, ...historyKeymap, ...searchKeymap, ...lintKeymap]),
    EditorView.updateListener.of((update) => {
      if (update.docChanged) reportSoon();
    }),
  ];
  const view = new EditorView({ parent, state: EditorState.create({ extensions }) });
  let saved: Text | null = view.state.doc; // null if the file has another text

  const apply = (edits: Edit[]) => {
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
    const at = changes.mapPos(positionOf(doc, last.line, last.column, encoding));
    view.dispatch({
      changes,
      effects: EditorView.scrollIntoView(at, { y: "nearest" }),
      userEvent: "input.fix",
    });
  };

  return {
    text: () => view.state.doc.toString(),
    encoding: () => encoding,
    setText(text, newEncoding, unsaved) {
      encoding = newEncoding;
      view.setState(EditorState.create({ doc: text, extensions }));
      saved = unsaved ? null : view.state.doc;
      reportSoon();
    },
    unsaved: () => saved === null || !view.state.doc.eq(saved),
    markSaved(text) {
      saved = view.state.toText(text);
    },
    show(findings, payloads) {
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
    goTo(line, column) {
      const anchor = positionOf(view.state.doc, line, column, encoding);
      view.dispatch({ selection: { anchor }, effects: EditorView.scrollIntoView(anchor, { y: "center" }) });
      view.focus();
    },
  };
}
