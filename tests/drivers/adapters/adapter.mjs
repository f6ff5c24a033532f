// Makes calls of the Node driver, as adapters.py asks for them.

import { createInterface } from "node:readline";

import { Driver, STANDARD, portable } from "../../../drivers/node/k7k-obs-connector.mjs";

async function answer(command, fields) {
  const driver = new Driver(command, Number(fields.timeoutMs));
  const target = (number) =>
    fields.target === undefined ? STANDARD : portable(fields.target + "/".repeat(number));
  const tries = { attempts: Number(fields.attempts), pause: Number(fields.pauseMs) };
  const calls = Array.from({ length: Number(fields.parallel) },
    (_, number) => driver[fields.call](target(number), tries));
  for (const result of await Promise.all(calls)) {
    for (const [key, value] of Object.entries(result)) {
      if (value !== null) console.log(key, encodeURIComponent(value));
    }
    console.log();
  }
}

let command = [];
let fields = {};
for await (const line of createInterface({ input: process.stdin })) {
  const space = line.indexOf(" ");
  const key = line.slice(0, space);
  const value = decodeURIComponent(line.slice(space + 1));
  if (key === "command") command.push(value);
  else if (key) fields[key] = value;
  if (line === "") {
    await answer(command, fields);
    command = [];
    fields = {};
  }
}
