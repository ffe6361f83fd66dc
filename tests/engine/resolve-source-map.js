'use strict';
// Where a piece of generated CSS comes from, as a browser's developer tools
// would find it through the CSS's sourceMappingURL:
//   node resolve-source-map.js SOURCE_MAP_PACKAGE CSS_FILE TEXT
// prints {"source":…,"line":…,"sources":[…]} for the first TEXT in the CSS,
// the sources as the map names them.
const fs = require('fs');
const path = require('path');

const [sourceMapPackage, cssFile, text] = process.argv.slice(2);
const { SourceMapConsumer } = require(sourceMapPackage);

const css = fs.readFileSync(cssFile, 'utf8');
const annotation = /\/\*# sourceMappingURL=(\S+) \*\/\s*$/.exec(css);
const at = css.indexOf(text);
if (!annotation || at < 0) {
  process.stderr.write(`${cssFile}: ${annotation ? `no ${text}` : 'no sourceMappingURL at the end'}\n`);
  process.exit(1);
}
const inline = /^data:application\/json;base64,(.*)$/.exec(annotation[1]);
const map = inline
  ? Buffer.from(inline[1], 'base64').toString()
  : fs.readFileSync(path.resolve(path.dirname(cssFile), annotation[1]), 'utf8');
const lines = css.slice(0, at).split('\n');
const parsed = JSON.parse(map);
const { source, line } = new SourceMapConsumer(parsed)
  .originalPositionFor({ line: lines.length, column: lines[lines.length - 1].length });
process.stdout.write(JSON.stringify({ source, line, sources: parsed.sources }));
