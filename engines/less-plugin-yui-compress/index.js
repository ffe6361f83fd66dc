'use strict';
// lessc hands an option it does not know, such as --yui-compress, to a plugin
// named less-plugin-<option>. This one minifies the finished CSS with clean-css,
// which is what --yui-compress did before less dropped it.
const CleanCSS = require('clean-css');
const { SourceMapConsumer, SourceMapGenerator } = require('source-map');

// clean-css gives what the input map leaves unmapped (a closing brace) to a
// source of its own, "$stdin", that no browser could open.
const UnmappedSource = '$stdin';

function withoutUnmapped(generator) {
  const map = generator.toJSON();
  if (!map.sources.includes(UnmappedSource)) {
    return JSON.stringify(map);
  }
  const kept = new SourceMapGenerator({ file: map.file });
  new SourceMapConsumer(map).eachMapping((mapping) => {
    if (mapping.source !== null && mapping.source !== UnmappedSource) {
      kept.addMapping({
        generated: { line: mapping.generatedLine, column: mapping.generatedColumn },
        original: { line: mapping.originalLine, column: mapping.originalColumn },
        source: mapping.source,
      });
    }
  });
  return kept.toString();
}

function failOnErrors(output) {
  if (output.errors.length > 0) {
    throw new Error(output.errors.join('\n'));
  }
  return output;
}

class YuiCompressPlugin {
  // The same minification outside less, carrying a source map through it.
  static minify(css, map) {
    if (!map) {
      return { css: failOnErrors(new CleanCSS({ level: 1 }).minify(css)).styles, map: null };
    }
    const output = failOnErrors(new CleanCSS({ level: 1, sourceMap: true }).minify(css, map));
    return { css: output.styles, map: withoutUnmapped(output.sourceMap) };
  }

  constructor() {
    this.minVersion = [2, 0, 0];
  }

  install(less, pluginManager) {
    pluginManager.addPostProcessor({
      process(css) {
        return YuiCompressPlugin.minify(css, null).css;
      },
    }, 1000);
  }

  setOptions() {}

  printUsage() {
    console.log('--yui-compress   minify the CSS output with clean-css');
  }
}

module.exports = YuiCompressPlugin;
