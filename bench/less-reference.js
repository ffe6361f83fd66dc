'use strict';
// Plain Node with less and nothing of Cascader: what the compile benchmarks
// measure Cascader against. LESS_PACKAGE is the folder of the less package.
//
//   node less-reference.js LESS_PACKAGE serve
//     Answers each request line with {"ms":…,"failed":…}, the time taken
//     inside Node: {"render":"/a.less"} renders without writing anything,
//     {"compile":"/list.txt"} compiles the files listed one a line, one after
//     another, each into the .css beside it.
//   node less-reference.js LESS_PACKAGE compile FILE…
//     Compiles the files one after another, each into the .css beside it,
//     prints {"failed":…} and exits.
//   node less-reference.js LESS_PACKAGE idle
//     Loads less, prints "ready" and waits for standard input to close.

const fs = require('fs');
const readline = require('readline');

const [lessPackage, mode, ...files] = process.argv.slice(2);
const less = require(lessPackage);

// The options lessc gives less.render for `lessc IN OUT`, as far as they
// change the work: the file's name, for its imports; no compression.
async function compileFile(file, write) {
  try {
    const { css } = await less.render(fs.readFileSync(file, 'utf8'), { filename: file });
    if (write) {
      fs.writeFileSync(file.replace(/\.less$/, '.css'), css);
    }
    return true;
  } catch (e) {
    return false;
  }
}

async function compileAll(list, write) {
  let failed = 0;
  for (const file of list) {
    if (!(await compileFile(file, write))) {
      failed++;
    }
  }
  return failed;
}

async function answer(request) {
  const list = request.render !== undefined
    ? [request.render]
    : fs.readFileSync(request.compile, 'utf8').split('\n').filter((line) => line !== '');
  const started = process.hrtime.bigint();
  const failed = await compileAll(list, request.render === undefined);
  const ms = Number(process.hrtime.bigint() - started) / 1e6;
  return { ms, failed };
}

// One request at a time, in order.
function serve() {
  let pending = Promise.resolve();
  readline.createInterface({ input: process.stdin }).on('line', (line) => {
    pending = pending.then(async () => {
      process.stdout.write(`${JSON.stringify(await answer(JSON.parse(line)))}\n`);
    });
  });
}

if (mode === 'serve') {
  serve();
} else if (mode === 'compile') {
  compileAll(files, true).then((failed) => {
    process.stdout.write(`${JSON.stringify({ failed })}\n`);
  });
} else if (mode === 'idle') {
  process.stdout.write('ready\n');
  process.stdin.resume();
} else {
  process.stderr.write(`unknown mode ${mode}\n`);
  process.exit(2);
}
