// Runs K7KObsConnectorInstaller.exe and tells what its answers mean. README.md has an example.

import { spawn } from "node:child_process";
import { constants } from "node:os";
import { join } from "node:path";
import { setTimeout as delay } from "node:timers/promises";

const WINDOWS = process.platform === "win32";
const LIMIT = 64 * 1024; // bytes of a stream
const GRACE = 1000; // milliseconds for a run to vanish that was ended, and its streams
const LONGEST = 2 ** 31 - 1; // milliseconds; a longer timer rings at once

/** The machine's own OBS. */
export const STANDARD = Object.freeze({ kind: "standard", arguments: Object.freeze([]) });

/** The portable OBS in a folder; the program takes only an absolute path. */
export function portable(obsRoot) {
  if (typeof obsRoot !== "string") throw new TypeError("an OBS root is a string");
  return Object.freeze({ kind: "portable", arguments: Object.freeze([obsRoot]) });
}

/** Runs one command at a time: in one thread other calls wait their turn. */
export class Driver {
  #command;
  #timeout;

  constructor(command, timeout = 600_000) {
    this.#command = [...command];
    this.#timeout = timeout;
  }

  status(target) {
    return inTurn(() => this.#run("status", target));
  }

  install(target) {
    return inTurn(() => this.#run("install", target));
  }

  remove(target) {
    return inTurn(() => this.#run("remove", target));
  }

  ensureInstalled(target, { attempts = 3, pause = 1000 } = {}) {
    return inTurn(() => this.#ensure("install", VALID, target, attempts, pause));
  }

  ensureRemoved(target, { attempts = 3, pause = 1000 } = {}) {
    return inTurn(() => this.#ensure("remove", ABSENT, target, attempts, pause));
  }

  async #ensure(verb, wanted, target, attempts, pause) {
    for (let attempt = 1; ; ++attempt) {
      // What an earlier attempt has done is not nothing.
      const nothing = attempt === 1 ? Outcome.nothingToDo : Outcome.done;
      const before = verb === "install" ? await this.#run("status", target) : null;
      if (before?.state === wanted) return changed(before, { outcome: nothing });
      let result = !before || before.outcome === Outcome.done
        ? await this.#run(verb, target) : before;
      if (verb === "remove" && result.outcome === Outcome.busy && target.kind === "standard") {
        // A removal looks for OBS before it looks for the plugin.
        const found = await this.#run("status", target);
        if (found.state === wanted && found.detail === null) {
          return changed(found, { outcome: nothing });
        }
      }
      if (result.outcome === Outcome.nothingToDo) return changed(result, { outcome: nothing });
      if (result.outcome === Outcome.done) {
        result = await this.#run("status", target);
        if (result.state === wanted) return result;
        if (result.outcome === Outcome.done) {
          result = changed(result, { outcome: Outcome.failed, retryable: true });
        }
      }
      if (!result.retryable || attempt >= attempts) return result;
      await delay(pause);
    }
  }

  async #run(verb, target) {
    const { word, answers } = COMMANDS[`${verb} ${target.kind}`];
    const line = [...this.#command, word, ...target.arguments];
    const run = await runProgram(line, this.#timeout);
    return run.reason ? run : read(answers, run);
  }
}

let turn = Promise.resolve(); // the end of the last call, on whatever target: a folder can be
                              // spelled in many ways

function inTurn(call) {
  const result = turn.then(call);
  turn = result.catch(() => {});
  return result;
}

const NO_ANSWER = Object.freeze({
  outcome: "unavailable", reason: null, state: "", exitCode: null, detail: null, oldCopy: null,
  obsRunning: null, retryable: false, stdout: "", stderr: "",
});

function changed(result, fields) {
  return Object.freeze({ ...result, ...fields });
}

/** Gives a result that has a reason unless the program ended by itself; its answer is not read. */
function runProgram([program, ...rest], timeout) {
  return new Promise((resolve) => {
    const notStarted = () => resolve(changed(NO_ANSWER, { reason: Reason.notStarted }));
    let child;
    try {
      child = spawn(program, rest, {
        stdio: ["ignore", "pipe", "pipe"], detached: !WINDOWS, windowsHide: true,
      });
    } catch { // a path with a zero character is no value
      notStarted();
      return;
    }
    if (child.pid === undefined) {
      child.on("error", notStarted);
      return;
    }
    let reason = null;
    const end = (why) => {
      reason ??= why;
      endTree(child);
      clearTimeout(timer);
      timer = setTimeout(finish, GRACE); // what has left the run's process group may hold a stream
    };
    let timer = setTimeout(end, Math.min(timeout, LONGEST), Reason.timeout);
    const texts = [child.stdout, child.stderr].map((stream) => collected(stream, end));
    const finish = (code, signal) => {
      clearTimeout(timer);
      child.stdout.destroy();
      child.stderr.destroy();
      child.unref(); // so that one that cannot be ended does not hold up the caller's end
      const exitCode = signal ? 128 + constants.signals[signal] : code;
      const [stdout, stderr] = texts.map((text) => text());
      resolve(changed(NO_ANSWER, { reason, exitCode: reason ? null : exitCode, stdout, stderr }));
    };
    child.on("close", finish);
  });
}

/** Gives a function for the stream's text so far; ends the run when it grows beyond the limit. */
function collected(stream, end) {
  const blocks = [];
  let size = 0;
  stream.on("error", () => {}); // the run's end follows
  stream.on("data", (block) => {
    blocks.push(block);
    size += block.length;
    if (size > LIMIT) {
      stream.destroy();
      end(Reason.tooMuch);
    }
  });
  return () => Buffer.concat(blocks).subarray(0, LIMIT).toString("utf8");
}

function endTree(child) {
  try {
    if (!WINDOWS) {
      process.kill(-child.pid, "SIGKILL");
    } else if (child.exitCode === null && child.signalCode === null) { // else its number is free
      const taskkill = join(process.env.SystemRoot ?? "C:\\Windows", "System32", "taskkill.exe");
      const words = ["/T", "/F", "/PID", String(child.pid)];
      const helper = spawn(taskkill, words, { stdio: "ignore", windowsHide: true });
      helper.on("error", () => child.kill()).on("close", () => child.kill());
    }
  } catch {
    child.kill(); // the group is gone, or the helper could not be started
  }
}

function read(answers, run) {
  const code = run.exitCode;
  const out = run.stdout.replaceAll("\r\n", "\n");
  const err = run.stderr.replaceAll("\r\n", "\n");
  if (code === USAGE_CODE && out === "" && err.startsWith(USAGE_BEGINS)) {
    return changed(run, { outcome: Outcome.refused });
  }
  for (const answer of (answers[code] ?? []).map((name) => ANSWERS[name])) {
    const values = matched(answer, out, err);
    if (values) {
      const detail = values.detail ?? null;
      const { retry, restored, oldCopy = null } =
        Object.hasOwn(DETAILS, detail ?? "") ? DETAILS[detail ?? ""] : { retry: [], restored: [] };
      const outcome = restored.includes(code) ? Outcome.failedRestored : answer.outcome;
      return changed(run, {
        state: answer.state, detail, outcome,
        oldCopy: outcome === Outcome.failed ? oldCopy : null,
        obsRunning: values.obsRunning === undefined ? null : values.obsRunning === "1",
        retryable: answer.retry === "yes" || retry.includes(code),
      });
    }
  }
  const known = code in answers || code === USAGE_CODE;
  return changed(run, { reason: known ? Reason.garbled : Reason.crashed });
}

/** The values of the answer's lines, or null if the streams hold anything else. */
function matched(answer, out, err) {
  const report = [`state=${answer.state}\n`]
    .concat(answer.keys.map((key) => `${key}=(?<${key}>${VALUES[key]})\n`)).join("");
  const line = `(?:detail=(?<detail>${VALUES.detail})\n)`;
  const detail = { "never": "", "if-any": `${line}?`, "always": line }[answer.detail];
  const [inOut, inErr] =
    answer.stream === "stdout" ? [report, detail] : ["", report + detail];
  const outMatch = new RegExp(`^${inOut}$`).exec(out);
  const errMatch = new RegExp(`^${inErr}$`).exec(err);
  return outMatch && errMatch ? { ...outMatch.groups, ...errMatch.groups } : null;
}

// made by drivers/make_drivers.py from protocol/protocol.json

/** What a call came to. */
export const Outcome = Object.freeze({
  // Done, or answered: the state tells what was found.
  done: "done",
  // There was nothing to remove.
  nothingToDo: "nothing-to-do",
  // OBS runs; nothing was touched.
  busy: "busy",
  // Refused before anything of the plugin was touched.
  refused: "refused",
  // Not done; what was there before is in its place.
  failedRestored: "failed-restored",
  // Not done, and what was there before may not be whole in its place: ask for the status. The old
  // copy can be under a private name.
  failed: "failed",
  // The program gave no answer; the reason tells why.
  unavailable: "unavailable",
});

/** Why the program gave no answer. */
export const Reason = Object.freeze({
  // The program could not be started.
  notStarted: "not-started",
  // It was ended, with what it had started, since its time was over.
  timeout: "timeout",
  // Its exit code is none of this command's, or a signal ended it.
  crashed: "crashed",
  // Its exit code is one of this command's, and its lines are not those of that code.
  garbled: "garbled",
  // It was ended, with what it had started, since it wrote too much on one stream.
  tooMuch: "too-much",
});

/** Where the old copy may be. */
export const OldCopy = Object.freeze({
  // Both pieces are in their places, unless the library could not be moved back: then it is under
  // its private name.
  pieceMoved: "piece-moved",
  // The new files were taken away and the old ones moved back. Whether that succeeded is not told:
  // when the plugin is missing or damaged now, the old files are under a private `backup` name.
  rolledBack: "rolled-back",
  // What could not be deleted is back in its place; files may be missing from it.
  partlyRemoved: "partly-removed",
  // Nothing is in the plugin's place. What could not be deleted is under a private `remove-backup`
  // name.
  movedAway: "moved-away",
  // OBS no longer sees the plugin. What could not be deleted is under a private
  // `portable-remove-dll` or `portable-remove-data` name.
  detached: "detached",
});

const VALID = "installed-valid";
const ABSENT = "not-installed";
const USAGE_CODE = 64;
const USAGE_BEGINS = "Usage: K7KObsConnectorInstaller ";

// What the values of lines look like.
const VALUES = {
  obsRunning: "[01]",
  detail: "[ -~]*",
};

// The names of the answers that each exit code has.
const COMMANDS = {
  "status standard": { word: "--status-standard", answers: {
      0: ["copy-valid", "copy-invalid", "standard-absent"], 20: ["no-standard-target"] } },
  "install standard": { word: "--install-standard", answers: {
      0: ["installed"], 20: ["no-standard-target"], 21: ["obs-running"], 23: ["bundle-refused"],
      24: ["install-refused"], 25: ["install-stopped"], 26: ["install-rolled-back"] } },
  "remove standard": { word: "--remove-standard", answers: {
      0: ["removed", "nothing-removed"], 20: ["no-standard-target"], 21: ["obs-running"],
      34: ["removal-refused"], 35: ["removal-failed"] } },
  "status portable": { word: "--status-portable", answers: {
      0: ["copy-valid", "copy-invalid", "portable-absent"], 40: ["root-refused"] } },
  "install portable": { word: "--install-portable", answers: {
      0: ["installed"], 40: ["root-refused"], 41: ["obs-running"], 43: ["bundle-refused"],
      44: ["install-refused"], 45: ["portable-install-stopped"], 46: ["install-rolled-back"] } },
  "remove portable": { word: "--remove-portable", answers: {
      0: ["removed", "nothing-removed"], 40: ["root-refused"], 41: ["obs-running"],
      54: ["removal-refused"], 55: ["removal-failed"] } },
};

// Lines and meaning of each answer; keys are those after state.
const ANSWERS = {
  "copy-valid": {
      state: "installed-valid", stream: "stdout", keys: ["obsRunning"], detail: "never",
      outcome: Outcome.done, retry: "no" },
  "copy-invalid": {
      state: "installed-invalid", stream: "stdout", keys: ["obsRunning"], detail: "if-any",
      outcome: Outcome.done, retry: "no" },
  "standard-absent": {
      state: "not-installed", stream: "stdout", keys: ["obsRunning"], detail: "if-any",
      outcome: Outcome.done, retry: "no" },
  "no-standard-target": {
      state: "target-unavailable", stream: "stderr", keys: [], detail: "never",
      outcome: Outcome.refused, retry: "no" },
  "installed": {
      state: "installed", stream: "stdout", keys: [], detail: "never", outcome: Outcome.done,
      retry: "no" },
  "obs-running": {
      state: "obs-running", stream: "stderr", keys: [], detail: "never", outcome: Outcome.busy,
      retry: "yes" },
  "bundle-refused": {
      state: "install-failed", stream: "stderr", keys: [], detail: "always",
      outcome: Outcome.refused, retry: "by-detail" },
  "install-refused": {
      state: "install-failed", stream: "stderr", keys: [], detail: "always",
      outcome: Outcome.refused, retry: "by-detail" },
  "install-stopped": {
      state: "install-failed", stream: "stderr", keys: [], detail: "always",
      outcome: Outcome.failedRestored, retry: "by-detail" },
  "install-rolled-back": {
      state: "install-failed", stream: "stderr", keys: [], detail: "always",
      outcome: Outcome.failed, retry: "by-detail" },
  "removed": {
      state: "removed", stream: "stdout", keys: [], detail: "never", outcome: Outcome.done,
      retry: "no" },
  "nothing-removed": {
      state: "not-installed", stream: "stdout", keys: [], detail: "never",
      outcome: Outcome.nothingToDo, retry: "no" },
  "removal-refused": {
      state: "remove-failed", stream: "stderr", keys: [], detail: "always",
      outcome: Outcome.refused, retry: "by-detail" },
  "removal-failed": {
      state: "remove-failed", stream: "stderr", keys: [], detail: "always", outcome: Outcome.failed,
      retry: "by-detail" },
  "portable-absent": {
      state: "not-installed", stream: "stdout", keys: ["obsRunning"], detail: "if-any",
      outcome: Outcome.done, retry: "no" },
  "root-refused": {
      state: "target-invalid", stream: "stderr", keys: [], detail: "always",
      outcome: Outcome.refused, retry: "by-detail" },
  "portable-install-stopped": {
      state: "install-failed", stream: "stderr", keys: [], detail: "always",
      outcome: Outcome.failed, retry: "by-detail" },
};

// Exit codes with which a text says that trying again can help, and that all is as before.
const DETAILS = {
  "": { retry: [26, 40, 44, 54, 55], restored: [26, 55] },
  "A portable OBS plugin parent is unavailable or unsafe": { retry: [44, 54], restored: [] },
  "A required plugin file is empty": { retry: [26], restored: [26] },
  "Bundle contains a reparse point": { retry: [26], restored: [26] },
  "Bundle file hash does not match manifest": { retry: [23, 26, 43], restored: [26] },
  "Bundle integrity manifest entry is invalid": { retry: [26], restored: [26] },
  "Bundle integrity manifest is invalid": { retry: [26], restored: [26] },
  "Bundle integrity manifest is missing": { retry: [23, 26, 43], restored: [26] },
  "Bundle is missing a required plugin file": { retry: [], restored: [26] },
  "Could not back up portable OBS plugin data": {
      retry: [45], restored: [], oldCopy: OldCopy.pieceMoved },
  "Could not back up the existing plugin; OBS may be running": { retry: [25], restored: [] },
  "Could not back up the portable OBS plugin DLL; OBS may be running": {
      retry: [45], restored: [45] },
  "Could not copy the complete payload": { retry: [26], restored: [26] },
  "Could not create the staging directory": { retry: [], restored: [26] },
  "Could not inspect a portable OBS parent": { retry: [40, 44, 54], restored: [] },
  "Could not inspect every bundle entry": { retry: [23, 26, 43], restored: [26] },
  "Could not inspect portable OBS targets": { retry: [45], restored: [45] },
  "Could not inspect the bundle": { retry: [23, 26, 43], restored: [26] },
  "Could not inspect the existing plugin": { retry: [25], restored: [] },
  "Could not inspect the installed plugin": { retry: [35], restored: [35] },
  "Could not inspect the plugin parent": { retry: [35], restored: [35] },
  "Could not isolate portable plugin data": {
      retry: [55], restored: [], oldCopy: OldCopy.pieceMoved },
  "Could not isolate the plugin; OBS may be running": { retry: [35], restored: [35] },
  "Could not isolate the portable plugin DLL; OBS may be running": { retry: [55], restored: [55] },
  "Could not read the complete payload": { retry: [26], restored: [26] },
  "Could not reserve portable OBS transaction paths": { retry: [45], restored: [45] },
  "Could not reserve the removal backup path": { retry: [35], restored: [35] },
  "Could not reserve transaction paths": { retry: [25], restored: [] },
  "Could not stage and verify the portable OBS plugin": { retry: [46], restored: [46] },
  "Path does not exist": { retry: [23, 26, 43], restored: [26] },
  "Payload contains an unsupported entry": { retry: [], restored: [26] },
  "Payload entry escaped its root": { retry: [], restored: [26] },
  "Plugin removal failed and its backup could not be restored": {
      retry: [], restored: [], oldCopy: OldCopy.movedAway },
  "Plugin removal failed and was rolled back": {
      retry: [35], restored: [], oldCopy: OldCopy.partlyRemoved },
  "Plugin replacement failed and was rolled back": {
      retry: [26], restored: [], oldCopy: OldCopy.rolledBack },
  "Portable OBS plugin replacement failed and was rolled back": {
      retry: [45], restored: [], oldCopy: OldCopy.rolledBack },
  "Portable OBS plugin verification failed and was rolled back": {
      retry: [46], restored: [], oldCopy: OldCopy.rolledBack },
  "Portable OBS root is unavailable or unsafe": { retry: [44, 54], restored: [] },
  "Portable plugin was detached, but a private backup remains": {
      retry: [], restored: [], oldCopy: OldCopy.detached },
  "Reparse-point roots are not accepted": { retry: [26], restored: [26] },
  "The portable OBS executable path is unsafe": { retry: [44, 54], restored: [] },
  "The portable OBS plugin DLL path is unsafe": { retry: [44, 54], restored: [] },
  "The portable OBS plugin data path is unsafe": { retry: [44, 54], restored: [] },
  "The selected OBS folder is not marked for portable mode": { retry: [44, 54], restored: [] },
  "The selected folder does not contain bin\\64bit\\obs64.exe": { retry: [44, 54], restored: [] },
};
// end of what is made
