'use strict';
// A source map's mappings as plain numbers, for a compile that makes one map
// from less's and then another from it after prefixing: no generator objects
// per mapping, no text in between, one binary search per lookup.

const path = require('path');

const Base64 = 'ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/';
// Generated line (from 1) and column, source number, original line (from 1)
// and column: the five numbers of each mapping in segments.
const Fields = 5;

function encodeVlq(value) {
  let rest = value < 0 ? (-value << 1) | 1 : value << 1;
  let text = '';
  do {
    let digit = rest & 31;
    rest >>>= 5;
    if (rest > 0) {
      digit |= 32;
    }
    text += Base64[digit];
  } while (rest > 0);
  return text;
}

class SourceMapping {
  constructor() {
    this.sources = [];
    this.sourceNumbers = new Map();
    this.segments = [];
    this.sorted = true;
  }

  add(line, column, source, originalLine, originalColumn) {
    let number = this.sourceNumbers.get(source);
    if (number === undefined) {
      number = this.sources.push(source) - 1;
      this.sourceNumbers.set(source, number);
    }
    const s = this.segments;
    const last = s.length - Fields;
    if (last >= 0 && (s[last] > line || (s[last] === line && s[last + 1] > column))) {
      this.sorted = false;
    }
    s.push(line, column, number, originalLine, originalColumn);
  }

  // Another mapping's segment at `at`, now for line:column.
  addFrom(other, at, line, column) {
    const s = other.segments;
    this.add(line, column, other.sources[s[at + 2]], s[at + 3], s[at + 4]);
  }

  // Where the last mapping at or before line:column on that line starts in
  // segments, as a browser finds it; -1 where that line has none before it.
  find(line, column) {
    this.sort();
    const s = this.segments;
    let low = 0;
    let high = s.length / Fields - 1;
    let found = -1;
    while (low <= high) {
      const middle = (low + high) >> 1;
      const at = middle * Fields;
      if (s[at] < line || (s[at] === line && s[at + 1] <= column)) {
        found = at;
        low = middle + 1;
      } else {
        high = middle - 1;
      }
    }
    return found !== -1 && s[found] === line ? found : -1;
  }

  sort() {
    if (this.sorted) {
      return;
    }
    const order = [];
    for (let at = 0; at < this.segments.length; at += Fields) {
      order.push(this.segments.slice(at, at + Fields));
    }
    order.sort((a, b) => a[0] - b[0] || a[1] - b[1]);
    this.segments = order.flat();
    this.sorted = true;
  }

  // The map of a CSS file named file, its sources relative to mapFolder.
  toJSON(file, mapFolder) {
    this.sort();
    const s = this.segments;
    const lines = [];
    let line = [];
    let lineNumber = 1;
    // Columns count from the line's start, the rest from the last mapping.
    let column = 0;
    let source = 0;
    let originalLine = 1;
    let originalColumn = 0;
    for (let at = 0; at < s.length; at += Fields) {
      if (at > 0 && s[at] === s[at - Fields] && s[at + 1] === s[at + 1 - Fields] && s[at + 2] === s[at + 2 - Fields]
        && s[at + 3] === s[at + 3 - Fields] && s[at + 4] === s[at + 4 - Fields]) {
        continue;
      }
      for (; lineNumber < s[at]; lineNumber++) {
        lines.push(line.join(','));
        line = [];
        column = 0;
      }
      line.push(encodeVlq(s[at + 1] - column) + encodeVlq(s[at + 2] - source)
        + encodeVlq(s[at + 3] - originalLine) + encodeVlq(s[at + 4] - originalColumn));
      column = s[at + 1];
      source = s[at + 2];
      originalLine = s[at + 3];
      originalColumn = s[at + 4];
    }
    lines.push(line.join(','));
    const sources = this.sources.map((name) =>
      path.relative(mapFolder, path.resolve(mapFolder, name)).split(path.sep).join('/'));
    return JSON.stringify({ version: 3, file, sources, names: [], mappings: lines.join(';') });
  }
}

module.exports = SourceMapping;
