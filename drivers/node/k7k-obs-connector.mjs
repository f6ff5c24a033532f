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
  "Could not back up portable OBS plugin data": { retry: [45], restored: [] },
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
  "Could not isolate portable plugin data": { retry: [55], restored: [] },
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
  "Plugin removal failed and was rolled back": { retry: [35], restored: [] },
  "Plugin replacement failed and was rolled back": { retry: [26], restored: [] },
  "Portable OBS plugin replacement failed and was rolled back": { retry: [45], restored: [] },
  "Portable OBS plugin verification failed and was rolled back": { retry: [46], restored: [] },
  "Portable OBS root is unavailable or unsafe": { retry: [44, 54], restored: [] },
  "Reparse-point roots are not accepted": { retry: [26], restored: [26] },
  "The portable OBS executable path is unsafe": { retry: [44, 54], restored: [] },
  "The portable OBS plugin DLL path is unsafe": { retry: [44, 54], restored: [] },
  "The portable OBS plugin data path is unsafe": { retry: [44, 54], restored: [] },
  "The selected OBS folder is not marked for portable mode": { retry: [44, 54], restored: [] },
  "The selected folder does not contain bin\\64bit\\obs64.exe": { retry: [44, 54], restored: [] },
};
// end of what is made
