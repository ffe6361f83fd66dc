'use strict';
// Compiles LESS files on request, one at a time, for as long as standard input
// stays open: lessc's own compile without starting Node and loading less each
// time. Every compile gets exactly what `lessc IN OUT [--yui-compress]
// --no-color` would produce: the same CSS, or the same text on standard error.
//
// Standard input: one request per line,
//   {"id":1,"input":"/abs/in.less","output":"/abs/out.css","compress":false}
// and, beyond what lessc is given, any of
//   "sourceMap":"file"|"inline", "autoprefix":true, "math":"parens-division",
//   "strictUnits":true, "paths":["/abs/include"], "modifyVars":{"brand":"red"},
//   "less":"/abs/project/node_modules/less"
// A request with none of them gets lessc's output byte for byte.
// Standard output, once loaded: {"ready":true,"less":"4.9.1"}, then one answer
// per request, in order,
//   {"id":1,"ok":true,"message":"","warnings":"","files":["/abs/in.less","/abs/import.less"]}
// where message is lessc's standard error on failure, its warnings aside,
// warnings what lessc would have warned, and files every file the compile read.

const fs = require('fs');
const path = require('path');
const url = require('url');
const util = require('util');
const { StringDecoder } = require('string_decoder');
const SourceMapping = require('./source-mapping');

// Standard output carries the protocol alone, whatever less, a plugin or an
// @plugin script prints.
const writeProtocol = process.stdout.write.bind(process.stdout);
process.stdout.write = process.stderr.write.bind(process.stderr);
process.stdout.on('error', () => process.exit(1));

// What lessc would have printed on standard error during the current compile,
// its warnings apart; both null between compiles.
let transcript = null;
let warnings = null;

function printer(take) {
  return (...args) => {
    const text = `${util.format(...args)}\n`;
    if (!take(text)) {
      process.stderr.write(text);
    }
  };
}
console.error = printer((text) => transcript !== null && ((transcript += text), true));
console.warn = printer((text) => warnings !== null && ((warnings += text), true));

function send(answer) {
  writeProtocol(`${JSON.stringify(answer)}\n`);
}

let errno = null;
try {
  errno = require('errno');
} catch (e) {
  // lessc does without it too.
}

// The bundled less, and any project's own that a request names, each
// loaded once: { less, fs, defaultOptions }.
let bundled;
const projectCompilers = new Map();
// The bundled one's, which also reads and writes files for every compile.
let less;
let lessFs;
// Loaded when a compile first asks for it, or a moment after start: a
// Compile All without compression never waits for clean-css.
let compressPlugin = null;
const CompressPluginPreloadMs = 1000;

function compressPluginLoaded() {
  if (compressPlugin === null) {
    compressPlugin = loadCompressPlugin();
  }
  return compressPlugin;
}

// As lessc finds a plugin for an option it does not know, from the current folder.
async function loadCompressPlugin() {
  const loader = new less.PluginLoader(less);
  const { contents, filename } = await loader.loadPlugin(
    'yui-compress', process.cwd(), { ...less.options }, less.environment, new less.FileManager());
  // A scratch manager: each compile installs the plugin into a fresh one.
  const plugin = loader.evalPlugin(contents, { pluginManager: less.PluginManager(less, true) }, null,
    undefined, filename);
  if (!plugin || plugin instanceof Error) {
    throw new Error(`${filename}: ${plugin ? plugin.message : 'not a plugin'}`);
  }
  return plugin;
}

// less's own bundle of the code lessc imports: the same compiler, loaded
// in a fraction of the time.
async function loadCompiler(moduleId, defaultOptionsId) {
  const compiler = require(moduleId);
  const defaults = await import(defaultOptionsId);
  compiler.logger.addListener({
    warn: (msg) => console.warn(msg),
    error: (msg) => console.error(msg),
  });
  // less 3 builds it as CommonJS with the function as its own default.
  const defaultOptions = typeof defaults.default === 'function' ? defaults.default : defaults.default.default;
  recordSourceMaps(compiler);
  return { less: compiler, fs: compiler.fs || fs, defaultOptions };
}

// less's source maps, recorded as plain numbers (see SourceMapping) rather
// than through a generator, and with each source position found in an index
// of line starts: less splits the whole file up to it for every piece of CSS
// it writes, which costs time that grows with the square of a file's length.
// The compile that asked for a map finds it in recordedMapping.
let recordedMapping = null;

// How many line breaks text holds, and where the last one is (-1 for none).
function lineBreaks(text) {
  let count = 0;
  let last = -1;
  for (let at = text.indexOf('\n'); at !== -1; at = text.indexOf('\n', at + 1)) {
    count++;
    last = at;
  }
  return { count, last };
}

function recordSourceMaps(compiler) {
  const output = compiler.SourceMapOutput && compiler.SourceMapOutput.prototype;
  if (!output || typeof output.add !== 'function') {
    return;
  }
  const lineStartsOf = (output, text) => {
    let starts = output.lineStarts.get(text);
    if (!starts) {
      starts = [0];
      for (let at = text.indexOf('\n'); at !== -1; at = text.indexOf('\n', at + 1)) {
        starts.push(at + 1);
      }
      output.lineStarts.set(text, starts);
    }
    return starts;
  };
  // The 1-based line and 0-based column of text.substring(0, index)'s end.
  const positionAt = (output, text, index) => {
    const end = index === undefined ? text.length : Math.min(Math.max(Number(index) || 0, 0), text.length);
    const starts = lineStartsOf(output, text);
    let low = 0;
    let high = starts.length - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if (starts[middle] <= end) {
        low = middle;
      } else {
        high = middle - 1;
      }
    }
    return { line: low + 1, column: end - starts[low] };
  };
  // One output a compile: what it keeps lives as long as it.
  const startRecording = (output) => {
    output.mapping = new SourceMapping();
    output.lineStarts = new Map();
    output.sourceNames = new Map();
    recordedMapping = output.mapping;
  };
  const sourceName = (output, filename) => {
    let name = output.sourceNames.get(filename);
    if (name === undefined) {
      name = output.normalizeFilename(filename);
      output.sourceNames.set(filename, name);
    }
    return name;
  };
  output.add = function add(chunk, fileInfo, index, mapLines) {
    if (!chunk) {
      return;
    }
    if (!this.mapping) {
      startRecording(this);
    }
    const breaks = lineBreaks(chunk);
    if (fileInfo && fileInfo.filename) {
      let inputSource = this._contentsMap[fileInfo.filename];
      const ignored = this._contentsIgnoredCharsMap[fileInfo.filename];
      if (ignored) {
        index = Math.max(index - ignored, 0);
        inputSource = inputSource.slice(ignored);
      }
      if (inputSource !== undefined) {
        const original = positionAt(this, inputSource, index);
        const source = sourceName(this, fileInfo.filename);
        const mapped = mapLines ? breaks.count + 1 : 1;
        for (let i = 0; i < mapped; i++) {
          this.mapping.add(this._lineNumber + i + 1, i === 0 ? this._column : 0,
            source, original.line + i, i === 0 ? original.column : 0);
        }
      }
    }
    if (breaks.count === 0) {
      this._column += chunk.length;
    } else {
      this._lineNumber += breaks.count;
      this._column = chunk.length - breaks.last - 1;
    }
    this._css.push(chunk);
  };
}

async function load() {
  bundled = await loadCompiler('less', 'less/lib/less/default-options.js');
  less = bundled.less;
  lessFs = bundled.fs;
}

async function compilerAt(folder) {
  if (!folder) {
    return bundled;
  }
  if (!projectCompilers.has(folder)) {
    projectCompilers.set(folder, loadCompiler(folder, path.join(folder, 'lib', 'less', 'default-options.js')));
  }
  return projectCompilers.get(folder);
}

// The options lessc builds from `IN OUT [--yui-compress] --no-color`, but with
// a new plugin manager per compile: lessc's process starts with an empty one,
// and @plugin scripts must not linger into the next compile. importAtOnce
// reads the imports synchronously, which lessc does not.
function lesscOptions(compiler, input, plugins, importAtOnce) {
  const options = compiler.defaultOptions();
  options.plugins = plugins;
  options.reUsePluginManager = false;
  options.color = false;
  options.paths = [path.dirname(input)].concat(options.paths);
  options.filename = input;
  options.syncImport = importAtOnce;
  return options;
}

// What a request asks beyond lessc's defaults.
function languageOptions(options, request, output) {
  if (request.math !== undefined) {
    options.math = request.math;
  }
  if (request.strictUnits) {
    options.strictUnits = true;
  }
  if (request.paths) {
    options.paths = [options.paths[0], ...request.paths, ...options.paths.slice(1)];
  }
  if (request.modifyVars) {
    options.modifyVars = request.modifyVars;
  }
  if (request.sourceMap) {
    // Sources stay absolute here and become relative to the map once every
    // step has had its say.
    options.sourceMap = {
      sourceMapFileInline: false,
      sourceMapBasepath: '',
      disableSourcemapAnnotation: true,
      sourceMapOutputFilename: path.basename(output),
    };
  }
  return options;
}

function readFile(file) {
  return new Promise((resolve, reject) => {
    try {
      resolve(lessFs.readFileSync(file, 'utf8'));
    } catch (e) {
      reject(e);
    }
  });
}

// An exception nobody catches would have ended lessc with its stack; here it
// ends the compile under way, which need not be the one that caused it.
const crashed = Symbol('crashed');
let abortCompile = null;
process.on('uncaughtException', (e) => {
  console.error(e && e.stack ? e.stack : util.inspect(e));
  if (abortCompile) {
    abortCompile(crashed);
  }
});

async function unlessAborted(promise) {
  try {
    return await Promise.race([promise, new Promise((resolve, reject) => { abortCompile = reject; })]);
  } finally {
    abortCompile = null;
  }
}

function writeError(output, err) {
  let description = 'Error: ';
  if (errno && errno.errno[err.errno]) {
    description += errno.errno[err.errno].description;
  } else {
    description += `${err.code} ${err.message}`;
  }
  console.error(`lessc: failed to create file ${output}`);
  console.error(description);
}

// Where writing to `file` ends up, and the file there now (null for none);
// null for a loop of links.
function resolveTarget(file) {
  for (let hops = 0; hops < 40; hops++) {
    let status = null;
    try {
      status = fs.lstatSync(file, { throwIfNoEntry: false }) || null;
    } catch (e) {
      // A folder on the way that is a file, or cannot be entered: the write says so.
    }
    if (!status || !status.isSymbolicLink()) {
      return { target: file, existing: status };
    }
    file = path.resolve(fs.realpathSync(path.dirname(file)), fs.readlinkSync(file));
  }
  return null;
}

const ownUid = process.getuid();
const ownGid = process.getgid();
// What a new file's mode is; most CSS files keep it, and need no chmod.
const newFileMode = 0o666 & ~process.umask();
let tempCounter = 0;

// Replaces the CSS in one step, so that a reader sees the old file or the new
// one, never part of it. Returns false, having written nothing, where that
// cannot be (the folder takes no new file, the target is a folder); the caller
// then writes as lessc does, to lessc's success or error.
function replaceFile(output, css) {
  const resolved = resolveTarget(output);
  if (resolved === null) {
    return false;
  }
  const { target, existing } = resolved;
  if (existing && existing.isDirectory()) {
    return false;
  }
  if (!existing && !fs.existsSync(path.dirname(target))) {
    fs.mkdirSync(path.dirname(target), { recursive: true });
  }
  const name = path.basename(target).slice(0, 200);
  const temp = path.join(path.dirname(target), `.${name}.cascader-${process.pid}-${++tempCounter}.tmp`);
  try {
    // A new file's mode comes from the umask, as lessc's would.
    fs.writeFileSync(temp, css, { encoding: 'utf8', flag: 'wx', mode: 0o666 });
    if (existing) {
      // Owner first: a chown clears the set-id bits that the chmod restores.
      if (existing.uid !== ownUid || existing.gid !== ownGid) {
        try {
          fs.chownSync(temp, existing.uid, existing.gid);
        } catch (e) {
          // Only root gives files away, and others only to their own groups.
        }
      }
      if ((existing.mode & 0o7777) !== newFileMode) {
        fs.chmodSync(temp, existing.mode & 0o7777);
      }
    }
    fs.renameSync(temp, target);
    return true;
  } catch (e) {
    try {
      fs.unlinkSync(temp);
    } catch (ignored) {
      // Never made.
    }
    // Out of space and the like: lessc's write would have failed the same way.
    if (e.syscall === 'write') {
      throw e;
    }
    return false;
  }
}

// lessc's own write, for what the folder refuses: it succeeds or fails
// exactly as lessc's does.
function writeInPlace(output, css) {
  return new Promise((resolve, reject) => {
    lessFs.writeFile(output, css, { encoding: 'utf8' }, (e) => (e ? reject(e) : resolve()));
  });
}

async function writeOutput(output, css) {
  try {
    if (!replaceFile(output, css)) {
      await writeInPlace(output, css);
    }
    return true;
  } catch (e) {
    writeError(output, e);
    return false;
  }
}

// Read at once, a failed import comes back as an error of the file type, or
// as one without a message.
function failedToImport(err) {
  return !err || err.type === 'File' || !err.message;
}

// One render with the given options: its CSS, or the error it printed.
async function render(compiler, data, options) {
  let imports = null;
  recordedMapping = null;
  try {
    const rendering = compiler.less.render(data, options);
    // Set while render starts its parse, before anything else can compile.
    imports = compiler.less.importManager;
    return { result: await unlessAborted(rendering), imports };
  } catch (err) {
    return { err, imports };
  }
}

// lessc's own output, or more than lessc does when the request asks for it.
function isPlainLessc(request) {
  return !request.sourceMap && !request.autoprefix && !request.less;
}

async function compile(request, input, output) {
  let data;
  try {
    data = await unlessAborted(readFile(input));
  } catch (e) {
    if (e !== crashed) {
      console.error(`lessc: ${e.message}`);
    }
    return { ok: false, files: [input] };
  }
  data = data.replace(/^\uFEFF/, '');
  const plain = isPlainLessc(request);
  let compiler;
  try {
    compiler = await compilerAt(request.less);
  } catch (e) {
    console.error(`lessc: cannot load less from ${request.less}: ${e.message}`);
    return { ok: false, files: [input] };
  }
  let plugins = [];
  if (request.compress && plain) {
    try {
      plugins = [await compressPluginLoaded()];
    } catch (e) {
      console.error(`lessc: cannot load the compress plugin: ${e.message}`);
      return { ok: false, files: [input] };
    }
  }
  const optionsFor = (importAtOnce) =>
    languageOptions(lesscOptions(compiler, input, plugins, importAtOnce), request, output);
  // Imports read at once are quicker and give the same CSS and the same
  // errors, except where an import itself fails: that compile renders again
  // reading them as lessc does, so that the message is lessc's to the letter.
  let rendered = await render(compiler, data, optionsFor(true));
  if (rendered.err && rendered.err !== crashed && failedToImport(rendered.err)) {
    transcript = '';
    warnings = '';
    rendered = await render(compiler, data, optionsFor(false));
  }
  const files = filesRead(input, rendered.imports, rendered.result);
  if (rendered.err) {
    const { err } = rendered;
    if (err !== crashed) {
      console.error(err && typeof err.toString === 'function'
        ? err.toString({ stylize: false })
        : String(err));
    }
    return { ok: false, files };
  }
  if (plain) {
    return { ok: await writeOutput(output, rendered.result.css), files };
  }
  // Nothing recorded where less wrote no CSS.
  const mapping = request.sourceMap ? recordedMapping || new SourceMapping() : null;
  let finished;
  try {
    finished = await finish(request, input, output, rendered.result.css, mapping);
  } catch (e) {
    console.error(`lessc: ${e.message}`);
    return { ok: false, files };
  }
  const ok = (!finished.map || await writeOutput(`${output}.map`, finished.map))
    && await writeOutput(output, finished.css);
  return { ok, files };
}

// Prefixes, compression and the map's final form, each step carrying the map on.
async function finish(request, input, output, lessCss, mapping) {
  let result = { css: lessCss, mapping };
  if (request.autoprefix) {
    result = await prefix(result, input, output);
  }
  const mapFolder = path.dirname(output);
  const mapName = `${path.basename(output)}.map`;
  let { css } = result;
  let mapText = result.mapping ? result.mapping.toJSON(path.basename(output), mapFolder) : null;
  if (request.compress) {
    const minified = YuiCompressPlugin.minify(css, mapText);
    css = minified.css;
    mapText = minified.map && relativeSourceMap(minified.map, mapFolder);
  }
  if (!request.sourceMap) {
    return { css, map: null };
  }
  if (request.sourceMap === 'inline') {
    const encoded = Buffer.from(mapText).toString('base64');
    return { css: `${css}\n/*# sourceMappingURL=data:application/json;base64,${encoded} */`, map: null };
  }
  return { css: `${css}\n/*# sourceMappingURL=${mapName} */`, map: mapText };
}

const YuiCompressPlugin = require('less-plugin-yui-compress');
let autoprefixer = null;

// Where browserslist looks for the project's browsers, from the LESS file's
// folder up, and what is there now.
const BrowserslistFiles = ['.browserslistrc', 'browserslist', 'package.json'];
const browserslistSeen = new Map();

function browserslistFilesChanged(input) {
  const stamps = [];
  for (let folder = path.dirname(input); ; folder = path.dirname(folder)) {
    for (const name of BrowserslistFiles) {
      const status = fs.statSync(path.join(folder, name), { throwIfNoEntry: false });
      stamps.push(status ? `${status.ino}:${status.mtimeMs}:${status.size}` : '-');
    }
    if (path.dirname(folder) === folder) {
      break;
    }
  }
  const stamp = stamps.join(' ');
  const changed = browserslistSeen.get(path.dirname(input)) !== stamp;
  browserslistSeen.set(path.dirname(input), stamp);
  return changed;
}

// The browsers come from the project's own .browserslistrc or package.json;
// browserslist keeps what it read, so it forgets it when one of them changed
// (forgetting every time would double the cost of prefixing).
async function prefix({ css, mapping }, input, output) {
  if (autoprefixer === null) {
    autoprefixer = { postcss: require('postcss'), plugin: require('autoprefixer')(), browserslist: require('browserslist') };
  }
  if (browserslistFilesChanged(input)) {
    autoprefixer.browserslist.clearCaches();
  }
  const options = { from: input, to: output, map: false };
  const prefixedMapping = mapping && new SourceMapping();
  if (mapping) {
    options.stringifier = (root, builder) => stringifyMapped(root, builder, mapping, prefixedMapping);
  }
  const result = await autoprefixer.postcss([autoprefixer.plugin]).process(css, options);
  for (const warning of result.warnings()) {
    console.warn(warning.toString());
  }
  return { css: result.css, mapping: prefixedMapping };
}

// postcss's own printing, mapping each node's start and end as postcss's
// maps do, but straight to where less's map says that place came from:
// cheaper than a map of less's CSS applied to less's map.
function stringifyMapped(root, builder, lessMapping, mapping) {
  let line = 1;
  let column = 1;
  const map = (position, generatedColumn) => {
    const at = lessMapping.find(position.line, position.column - 1);
    if (at !== -1) {
      mapping.addFrom(lessMapping, at, line, generatedColumn);
    }
  };
  autoprefixer.postcss.stringify(root, (text, node, type) => {
    builder(text);
    if (node && type !== 'end' && node.source && node.source.start) {
      map(node.source.start, column - 1);
    }
    const breaks = lineBreaks(text);
    if (breaks.count === 0) {
      column += text.length;
    } else {
      line += breaks.count;
      column = text.length - breaks.last;
    }
    if (node && type !== 'start' && node.source && node.source.end) {
      const parent = node.parent || { raws: {} };
      const childless = node.type === 'decl' || (node.type === 'atrule' && !node.nodes);
      if (!childless || node !== parent.last || parent.raws.semicolon) {
        map(node.source.end, column - 2);
      }
    }
  });
}

// Every source as a path relative to the map, so that a browser finds the
// LESS files beside it wherever the site is served from.
function relativeSourceMap(map, mapFolder) {
  const parsed = typeof map === 'string' ? JSON.parse(map) : map;
  const root = parsed.sourceRoot || '';
  parsed.sources = parsed.sources.map((source) => {
    let file = source.startsWith('file://') ? url.fileURLToPath(source) : path.join(root, source);
    file = path.resolve(mapFolder, file);
    return path.relative(mapFolder, file).split(path.sep).join('/');
  });
  delete parsed.sourceRoot;
  return JSON.stringify(parsed);
}

function filesRead(input, imports, result) {
  const read = imports ? Object.keys(imports.contents) : (result && result.imports) || [];
  return [...new Set([input, ...read])];
}

function isAbsolutePath(value) {
  return typeof value === 'string' && path.isAbsolute(value) && !value.includes('\0');
}

const MathModes = ['always', 'parens-division', 'parens', 'strict-legacy'];

function invalidOption(request) {
  const checks = [
    ['sourceMap', (v) => v === 'file' || v === 'inline', '"file" or "inline"'],
    ['autoprefix', (v) => typeof v === 'boolean', 'true or false'],
    ['math', (v) => MathModes.includes(v), `one of ${MathModes.join(', ')}`],
    ['strictUnits', (v) => typeof v === 'boolean', 'true or false'],
    ['paths', (v) => Array.isArray(v) && v.every(isAbsolutePath), 'a list of absolute paths'],
    ['modifyVars', (v) => v !== null && typeof v === 'object' && !Array.isArray(v)
      && Object.values(v).every((value) => typeof value === 'string'), 'an object of strings'],
    ['less', isAbsolutePath, 'an absolute path'],
  ];
  const failed = checks.find(([key, valid]) => request[key] !== undefined && !valid(request[key]));
  return failed ? `"${failed[0]}" must be ${failed[2]}` : null;
}

function parseRequest(line) {
  let request;
  try {
    request = JSON.parse(line);
  } catch (e) {
    return { error: e.message };
  }
  if (request === null || typeof request !== 'object' || Array.isArray(request)) {
    return { error: 'not a JSON object' };
  }
  const id = typeof request.id === 'number' ? request.id : null;
  if (id === null) {
    return { error: '"id" must be a number' };
  }
  for (const key of ['input', 'output']) {
    if (!isAbsolutePath(request[key])) {
      return { id, error: `"${key}" must be an absolute path` };
    }
  }
  if (typeof request.compress !== 'boolean') {
    return { id, error: '"compress" must be true or false' };
  }
  const invalid = invalidOption(request);
  return invalid ? { id, error: invalid } : { id, request };
}

async function serve(line) {
  const { id = null, error, request } = parseRequest(line);
  if (error) {
    return { id, ok: false, message: `Malformed request: ${error}`, files: [] };
  }
  const input = path.resolve(request.input);
  transcript = '';
  warnings = '';
  try {
    const { ok, files } = await compile(request, input, path.resolve(request.output));
    return { id, ok, message: ok ? '' : transcript, warnings, files };
  } catch (e) {
    return { id, ok: false, message: transcript + util.inspect(e), warnings, files: [input] };
  } finally {
    transcript = null;
    warnings = null;
  }
}

// A worker that has nothing to do gives back what its compiles used, so that
// idle workers stay small. Node runs it with --expose-gc.
const IdleCollectMs = 500;
let idleCollect = null;

function collectWhenIdle() {
  if (typeof global.gc === 'function') {
    idleCollect = setTimeout(() => {
      idleCollect = null;
      global.gc();
    }, IdleCollectMs);
    idleCollect.unref();
  }
}

function stopIdleCollect() {
  if (idleCollect !== null) {
    clearTimeout(idleCollect);
    idleCollect = null;
  }
}

// A fresh worker runs less's code unoptimised, and its first compile of a
// large file takes half again as long as the next. Compiling a sample while
// no request waits, a round at a time, makes even the first save warm.
const WarmUpSample = path.join(__dirname, 'warm-up', 'sample.less');
const WarmUpRounds = 30;
const WarmUpDelayMs = 200;
// Rounds back to back grow the heap by a third more than real compiles do,
// unless it is collected now and then.
const WarmUpRoundsPerCollection = 10;
let warmUpSource = null;
let warmUpRoundsLeft = 0;

function startWarmUp() {
  try {
    warmUpSource = fs.readFileSync(WarmUpSample, 'utf8');
  } catch (e) {
    return;
  }
  warmUpRoundsLeft = WarmUpRounds;
  next();
}

function warmUpRound() {
  serving = true;
  warmUpRoundsLeft--;
  // Whatever it would print is nobody's business.
  transcript = '';
  warnings = '';
  less.render(warmUpSource, lesscOptions(bundled, WarmUpSample, [], true))
    .catch(() => {
      warmUpRoundsLeft = 0;
    })
    // A request that came meanwhile goes before the next round.
    .then(() => setImmediate(() => {
      if (warmUpRoundsLeft % WarmUpRoundsPerCollection === 0 && typeof global.gc === 'function') {
        global.gc();
      }
      transcript = null;
      warnings = null;
      serving = false;
      next();
    }));
}

// Lines wait here while a compile runs; standard input closed, the worker
// serves what it has and exits.
const queue = [];
let serving = false;
let inputEnded = false;

function next() {
  if (serving) {
    return;
  }
  if (queue.length === 0) {
    if (inputEnded) {
      process.exit(0);
    }
    if (warmUpRoundsLeft > 0) {
      warmUpRound();
      return;
    }
    collectWhenIdle();
    return;
  }
  stopIdleCollect();
  serving = true;
  serve(queue.shift()).then((answer) => {
    send(answer);
    serving = false;
    next();
  });
}

function listen() {
  const decoder = new StringDecoder('utf8');
  let pending = '';
  const take = (text) => {
    const lines = (pending + text).split('\n');
    pending = lines.pop();
    queue.push(...lines.filter((line) => line.trim() !== ''));
  };
  process.stdin.on('data', (chunk) => {
    take(decoder.write(chunk));
    next();
  });
  const end = () => {
    take(`${decoder.end()}\n`);
    inputEnded = true;
    next();
  };
  process.stdin.on('end', end);
  process.stdin.on('error', end);
}

load().then(() => {
  send({ ready: true, less: less.version.join('.') });
  listen();
  setTimeout(startWarmUp, WarmUpDelayMs).unref();
  setTimeout(() => compressPluginLoaded().catch(() => {}), CompressPluginPreloadMs).unref();
}, (e) => {
  process.stderr.write(`compile-worker: cannot load less: ${e && e.stack || e}\n`);
  process.exit(1);
});
