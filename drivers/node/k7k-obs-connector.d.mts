/** Where the plugin belongs: STANDARD, or what portable() gives. */
export interface Target {
  readonly kind: "standard" | "portable";
  readonly arguments: readonly string[];
}

/** The machine's own OBS. */
export declare const STANDARD: Target;

/** The portable OBS in a folder; the program takes only an absolute path. */
export declare function portable(obsRoot: string): Target;

export interface Result {
  readonly outcome: Outcome;
  /** Why it is unavailable. */
  readonly reason: Reason | null;
  readonly state: State;
  /** 128 and the signal's number where a signal ended the run. */
  readonly exitCode: number | null;
  /** An English sentence, or nothing, for a log and for people. */
  readonly detail: string | null;
  /** Where it may be, if it failed and the answer tells. */
  readonly oldCopy: OldCopy | null;
  readonly obsRunning: boolean | null;
  /** Whether trying again can help although nobody has done anything. */
  readonly retryable: boolean;
  readonly stdout: string;
  readonly stderr: string;
}

/** How often an ensure call tries, and its pause in milliseconds; unless told 3 and 1000. */
export interface Tries {
  readonly attempts?: number;
  readonly pause?: number;
}

/** Runs one command at a time: in one thread other calls wait their turn. */
export declare class Driver {
  /**
   * @param command the program, behind what starts it
   * @param timeout in milliseconds for each run, 600000 unless told
   */
  constructor(command: readonly string[], timeout?: number);
  status(target: Target): Promise<Result>;
  install(target: Target): Promise<Result>;
  remove(target: Target): Promise<Result>;
  /** Installs unless it is installed already. */
  ensureInstalled(target: Target, tries?: Tries): Promise<Result>;
  /** Removes unless it is gone already. */
  ensureRemoved(target: Target, tries?: Tries): Promise<Result>;
}

// made by drivers/make_drivers.py from protocol/protocol.json

/** What a call came to. */
export declare const Outcome: {
  /** Done, or answered: the state tells what was found. */
  readonly done: "done";
  /** There was nothing to remove. */
  readonly nothingToDo: "nothing-to-do";
  /** OBS runs; nothing was touched. */
  readonly busy: "busy";
  /** Refused before anything of the plugin was touched. */
  readonly refused: "refused";
  /** Not done; what was there before is in its place. */
  readonly failedRestored: "failed-restored";
  /**
   * Not done, and what was there before may not be whole in its place: ask for the status. The old
   * copy can be under a private name.
   */
  readonly failed: "failed";
  /** The program gave no answer; the reason tells why. */
  readonly unavailable: "unavailable";
};
export type Outcome = (typeof Outcome)[keyof typeof Outcome];

/** Why the program gave no answer. */
export declare const Reason: {
  /** The program could not be started. */
  readonly notStarted: "not-started";
  /** It was ended, with what it had started, since its time was over. */
  readonly timeout: "timeout";
  /** Its exit code is none of this command's, or a signal ended it. */
  readonly crashed: "crashed";
  /** Its exit code is one of this command's, and its lines are not those of that code. */
  readonly garbled: "garbled";
  /** It was ended, with what it had started, since it wrote too much on one stream. */
  readonly tooMuch: "too-much";
};
export type Reason = (typeof Reason)[keyof typeof Reason];

/** Where the old copy may be. */
export declare const OldCopy: {
  /**
   * Both pieces are in their places, unless the library could not be moved back: then it is under
   * its private name.
   */
  readonly pieceMoved: "piece-moved";
  /**
   * The new files were taken away and the old ones moved back. Whether that succeeded is not told:
   * when the plugin is missing or damaged now, the old files are under a private `backup` name.
   */
  readonly rolledBack: "rolled-back";
  /** What could not be deleted is back in its place; files may be missing from it. */
  readonly partlyRemoved: "partly-removed";
  /**
   * Nothing is in the plugin's place. What could not be deleted is under a private `remove-backup`
   * name.
   */
  readonly movedAway: "moved-away";
  /**
   * OBS no longer sees the plugin. What could not be deleted is under a private
   * `portable-remove-dll` or `portable-remove-data` name.
   */
  readonly detached: "detached";
};
export type OldCopy = (typeof OldCopy)[keyof typeof OldCopy];

/** What happened, or what was found; empty without an answer. */
export type State =
  | ""
  | "install-failed"
  | "installed"
  | "installed-invalid"
  | "installed-valid"
  | "not-installed"
  | "obs-running"
  | "remove-failed"
  | "removed"
  | "target-invalid"
  | "target-unavailable";
// end of what is made
