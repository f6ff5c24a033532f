// Makes one call of the Node driver; test_conformance.py tells how it is asked.

import { readFileSync } from "node:fs";

import { Driver, STANDARD, portable } from "../../../drivers/node/k7k-obs-connector.mjs";

const command = [];
const fields = {};
for (const line of readFileSync(0, "utf8").trimEnd().split("\n")) {
  const space = line.indexOf(" ");
  const value = decodeURIComponent(line.slice(space + 1));
  if (line.slice(0, space) === "command") command.push(value);
  else fields[line.slice(0, space)] = value;
}

const driver = new Driver(command, Number(fields.timeoutMs));
const target = fields.target === undefined ? STANDARD : portable(fields.target);
const tries = { attempts: Number(fields.attempts), pause: Number(fields.pauseMs) };
const calls = Array.from({ length: Number(fields.parallel) },
  () => driver[fields.call](target, tries));
for (const result of await Promise.all(calls)) {
  for (const [key, value] of Object.entries(result)) {
    if (value !== null) console.log(key, encodeURIComponent(value));
  }
  console.log();
}
