// check.js: runs the task of tasks.json on wrong.c as the editor would, and prints what its matcher finds.
const {execSync} = require("child_process");
const task = require("./tasks.json").tasks[0];
const pattern = task.problemMatcher.pattern;

const command = task.command.replaceAll("${file}", "wrong.c") + " 2>&1 || :";
const messages = execSync(command, {env: {...process.env, ...task.options.env}, encoding: "utf8"});
for (const line of messages.split("\n")) {
  const match = new RegExp(pattern.regexp).exec(line);
  if (match) console.log(match[pattern.file], match[pattern.line], match[pattern.column] || 0, match[pattern.severity]);
}
