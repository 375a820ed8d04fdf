// check.js SOURCE: runs the task of tasks.json on it as the editor would, and prints what its matcher finds.
const {spawnSync} = require("child_process");
const task = require("./tasks.json").tasks[0];
const pattern = task.problemMatcher.pattern;

const words = task.args.map(word => word.replaceAll("${file}", process.argv[2]));
const {stderr} = spawnSync(task.command, words, {
  env: {...process.env, ...task.options.env},
  shell: task.type === "shell",
  encoding: "utf8",
});
for (const line of stderr.split("\n")) {
  const match = new RegExp(pattern.regexp).exec(line);
  if (match) console.log(match[pattern.file], match[pattern.line], match[pattern.column] || 0, match[pattern.severity]);
}
