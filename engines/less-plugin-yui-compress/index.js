'use strict';
// lessc hands an option it does not know, such as --yui-compress, to a plugin
// named less-plugin-<option>. This one minifies the finished CSS with clean-css,
// which is what --yui-compress did before less dropped it.
const CleanCSS = require('clean-css');

class YuiCompressPlugin {
  constructor() {
    this.minVersion = [2, 0, 0];
  }

  install(less, pluginManager) {
    pluginManager.addPostProcessor({
      process(css) {
        const output = new CleanCSS({ level: 1 }).minify(css);
        if (output.errors.length > 0) {
          throw new Error(output.errors.join('\n'));
        }
        return output.styles;
      },
    }, 1000);
  }

  setOptions() {}

  printUsage() {
    console.log('--yui-compress   minify the CSS output with clean-css');
  }
}

module.exports = YuiCompressPlugin;
