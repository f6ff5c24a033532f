// Runs K7KObsConnectorInstaller.exe and tells what its answers mean. README.md has an example.
// .NET Standard 2.0, this file alone, Windows and Unix.

using System;
using System.Collections.Concurrent;
using System.Collections.Generic;
using System.ComponentModel;
using System.Diagnostics;
using System.IO;
using System.Linq;
using System.Text;
using System.Text.RegularExpressions;
using System.Threading;

namespace K7kObsConnector
{
    // made by drivers/make_drivers.py from protocol/protocol.json

    /// <summary>What a call came to.</summary>
    public enum Outcome
    {
        /// <summary>Done, or answered: the state tells what was found.</summary>
        Done,
        /// <summary>There was nothing to remove.</summary>
        NothingToDo,
        /// <summary>OBS runs; nothing was touched.</summary>
        Busy,
        /// <summary>Refused before anything of the plugin was touched.</summary>
        Refused,
        /// <summary>Not done; what was there before is in its place.</summary>
        FailedRestored,
        /// <summary>Not done, and what was there before may not be whole in its place: ask for the
        /// status. The old copy can be under a private name.</summary>
        Failed,
        /// <summary>The program gave no answer; the reason tells why.</summary>
        Unavailable,
    }

    /// <summary>Why the program gave no answer.</summary>
    public enum Reason
    {
        /// <summary>The program could not be started.</summary>
        NotStarted,
        /// <summary>It was ended, with what it had started, since its time was over.</summary>
        Timeout,
        /// <summary>Its exit code is none of this command's, or a signal ended it.</summary>
        Crashed,
        /// <summary>Its exit code is one of this command's, and its lines are not those of that
        /// code.</summary>
        Garbled,
        /// <summary>It was ended, with what it had started, since it wrote too much on one
        /// stream.</summary>
        TooMuch,
    }

    /// <summary>Where the old copy may be.</summary>
    public enum OldCopy
    {
        /// <summary>Both pieces are in their places, unless the library could not be moved back:
        /// then it is under its private name.</summary>
        PieceMoved,
        /// <summary>The new files were taken away and the old ones moved back. Whether that
        /// succeeded is not told: when the plugin is missing or damaged now, the old files are
        /// under a private `backup` name.</summary>
        RolledBack,
        /// <summary>What could not be deleted is back in its place; files may be missing from
        /// it.</summary>
        PartlyRemoved,
        /// <summary>Nothing is in the plugin's place. What could not be deleted is under a private
        /// `remove-backup` name.</summary>
        MovedAway,
        /// <summary>OBS no longer sees the plugin. What could not be deleted is under a private
        /// `portable-remove-dll` or `portable-remove-data` name.</summary>
        Detached,
    }

    internal static class Protocol
    {
        internal const string Valid = "installed-valid";
        internal const string Absent = "not-installed";
        internal const string UsageBegins = "Usage: K7KObsConnectorInstaller ";
        internal const long UsageCode = 64;
        private static readonly long[] None = new long[0];
        // What the values of lines look like; the answers below are made of them.
        internal static readonly Dictionary<string, string> Values = new Dictionary<string, string>
        {
            ["obsRunning"] = "[01]",
            ["detail"] = "[ -~]*",
        };
        private static readonly Answer CopyValid = new Answer(
            "installed-valid", "stdout", "never", Outcome.Done, "no", "obsRunning");
        private static readonly Answer CopyInvalid = new Answer(
            "installed-invalid", "stdout", "if-any", Outcome.Done, "no", "obsRunning");
        private static readonly Answer StandardAbsent = new Answer(
            "not-installed", "stdout", "if-any", Outcome.Done, "no", "obsRunning");
        private static readonly Answer NoStandardTarget = new Answer(
            "target-unavailable", "stderr", "never", Outcome.Refused, "no");
        private static readonly Answer Installed = new Answer(
            "installed", "stdout", "never", Outcome.Done, "no");
        private static readonly Answer ObsRunning = new Answer(
            "obs-running", "stderr", "never", Outcome.Busy, "yes");
        private static readonly Answer BundleRefused = new Answer(
            "install-failed", "stderr", "always", Outcome.Refused, "by-detail");
        private static readonly Answer InstallRefused = new Answer(
            "install-failed", "stderr", "always", Outcome.Refused, "by-detail");
        private static readonly Answer InstallStopped = new Answer(
            "install-failed", "stderr", "always", Outcome.FailedRestored, "by-detail");
        private static readonly Answer InstallRolledBack = new Answer(
            "install-failed", "stderr", "always", Outcome.Failed, "by-detail");
        private static readonly Answer Removed = new Answer(
            "removed", "stdout", "never", Outcome.Done, "no");
        private static readonly Answer NothingRemoved = new Answer(
            "not-installed", "stdout", "never", Outcome.NothingToDo, "no");
        private static readonly Answer RemovalRefused = new Answer(
            "remove-failed", "stderr", "always", Outcome.Refused, "by-detail");
        private static readonly Answer RemovalFailed = new Answer(
            "remove-failed", "stderr", "always", Outcome.Failed, "by-detail");
        private static readonly Answer PortableAbsent = new Answer(
            "not-installed", "stdout", "if-any", Outcome.Done, "no", "obsRunning");
        private static readonly Answer RootRefused = new Answer(
            "target-invalid", "stderr", "always", Outcome.Refused, "by-detail");
        private static readonly Answer PortableInstallStopped = new Answer(
            "install-failed", "stderr", "always", Outcome.Failed, "by-detail");
        // The answers of each command and exit code.
        internal static readonly (string Word, long Code, Answer Answer)[] Rows =
        {
            ("--status-standard", 0, CopyValid),
            ("--status-standard", 0, CopyInvalid),
            ("--status-standard", 0, StandardAbsent),
            ("--status-standard", 20, NoStandardTarget),
            ("--install-standard", 0, Installed),
            ("--install-standard", 20, NoStandardTarget),
            ("--install-standard", 21, ObsRunning),
            ("--install-standard", 23, BundleRefused),
            ("--install-standard", 24, InstallRefused),
            ("--install-standard", 25, InstallStopped),
            ("--install-standard", 26, InstallRolledBack),
            ("--remove-standard", 0, Removed),
            ("--remove-standard", 0, NothingRemoved),
            ("--remove-standard", 20, NoStandardTarget),
            ("--remove-standard", 21, ObsRunning),
            ("--remove-standard", 34, RemovalRefused),
            ("--remove-standard", 35, RemovalFailed),
            ("--status-portable", 0, CopyValid),
            ("--status-portable", 0, CopyInvalid),
            ("--status-portable", 0, PortableAbsent),
            ("--status-portable", 40, RootRefused),
            ("--install-portable", 0, Installed),
            ("--install-portable", 40, RootRefused),
            ("--install-portable", 41, ObsRunning),
            ("--install-portable", 43, BundleRefused),
            ("--install-portable", 44, InstallRefused),
            ("--install-portable", 45, PortableInstallStopped),
            ("--install-portable", 46, InstallRolledBack),
            ("--remove-portable", 0, Removed),
            ("--remove-portable", 0, NothingRemoved),
            ("--remove-portable", 40, RootRefused),
            ("--remove-portable", 41, ObsRunning),
            ("--remove-portable", 54, RemovalRefused),
            ("--remove-portable", 55, RemovalFailed),
        };
        // Exit codes with which a text says: trying again helps, or all is as before;
        // and where the old copy may be with all other exit codes of Failed.
        internal static readonly (string Text, long[] Retry, long[] Restored, OldCopy? OldCopy)[]
            Texts =
        {
            ("", new[] { 26L, 40L, 44L, 54L, 55L }, new[] { 26L, 55L }, null),
            (
                "A portable OBS plugin parent is unavailable or unsafe", new[] { 44L, 54L }, None,
                null),
            ("A required plugin file is empty", new[] { 26L }, new[] { 26L }, null),
            ("Bundle contains a reparse point", new[] { 26L }, new[] { 26L }, null),
            (
                "Bundle file hash does not match manifest", new[] { 23L, 26L, 43L }, new[] { 26L },
                null),
            ("Bundle integrity manifest entry is invalid", new[] { 26L }, new[] { 26L }, null),
            ("Bundle integrity manifest is invalid", new[] { 26L }, new[] { 26L }, null),
            ("Bundle integrity manifest is missing", new[] { 23L, 26L, 43L }, new[] { 26L }, null),
            ("Bundle is missing a required plugin file", None, new[] { 26L }, null),
            ("Could not back up portable OBS plugin data", new[] { 45L }, None, OldCopy.PieceMoved),
            (
                "Could not back up the existing plugin; OBS may be running", new[] { 25L }, None,
                null),
            (
                "Could not back up the portable OBS plugin DLL; OBS may be running", new[] { 45L },
                new[] { 45L }, null),
            ("Could not copy the complete payload", new[] { 26L }, new[] { 26L }, null),
            ("Could not create the staging directory", None, new[] { 26L }, null),
            ("Could not inspect a portable OBS parent", new[] { 40L, 44L, 54L }, None, null),
            ("Could not inspect every bundle entry", new[] { 23L, 26L, 43L }, new[] { 26L }, null),
            ("Could not inspect portable OBS targets", new[] { 45L }, new[] { 45L }, null),
            ("Could not inspect the bundle", new[] { 23L, 26L, 43L }, new[] { 26L }, null),
            ("Could not inspect the existing plugin", new[] { 25L }, None, null),
            ("Could not inspect the installed plugin", new[] { 35L }, new[] { 35L }, null),
            ("Could not inspect the plugin parent", new[] { 35L }, new[] { 35L }, null),
            ("Could not isolate portable plugin data", new[] { 55L }, None, OldCopy.PieceMoved),
            (
                "Could not isolate the plugin; OBS may be running", new[] { 35L }, new[] { 35L },
                null),
            (
                "Could not isolate the portable plugin DLL; OBS may be running", new[] { 55L },
                new[] { 55L }, null),
            ("Could not read the complete payload", new[] { 26L }, new[] { 26L }, null),
            (
                "Could not reserve portable OBS transaction paths", new[] { 45L }, new[] { 45L },
                null),
            ("Could not reserve the removal backup path", new[] { 35L }, new[] { 35L }, null),
            ("Could not reserve transaction paths", new[] { 25L }, None, null),
            (
                "Could not stage and verify the portable OBS plugin", new[] { 46L }, new[] { 46L },
                null),
            ("Path does not exist", new[] { 23L, 26L, 43L }, new[] { 26L }, null),
            ("Payload contains an unsupported entry", None, new[] { 26L }, null),
            ("Payload entry escaped its root", None, new[] { 26L }, null),
            (
                "Plugin removal failed and its backup could not be restored", None, None,
                OldCopy.MovedAway),
            (
                "Plugin removal failed and was rolled back", new[] { 35L }, None,
                OldCopy.PartlyRemoved),
            (
                "Plugin replacement failed and was rolled back", new[] { 26L }, None,
                OldCopy.RolledBack),
            (
                "Portable OBS plugin replacement failed and was rolled back", new[] { 45L }, None,
                OldCopy.RolledBack),
            (
                "Portable OBS plugin verification failed and was rolled back", new[] { 46L }, None,
                OldCopy.RolledBack),
            ("Portable OBS root is unavailable or unsafe", new[] { 44L, 54L }, None, null),
            (
                "Portable plugin was detached, but a private backup remains", None, None,
                OldCopy.Detached),
            ("Reparse-point roots are not accepted", new[] { 26L }, new[] { 26L }, null),
            ("The portable OBS executable path is unsafe", new[] { 44L, 54L }, None, null),
            ("The portable OBS plugin DLL path is unsafe", new[] { 44L, 54L }, None, null),
            ("The portable OBS plugin data path is unsafe", new[] { 44L, 54L }, None, null),
            (
                "The selected OBS folder is not marked for portable mode", new[] { 44L, 54L }, None,
                null),
            (
                "The selected folder does not contain bin\\64bit\\obs64.exe", new[] { 44L, 54L },
                None, null),
        };
    }
    // end of what is made

    /// <summary>Where the plugin belongs: Standard, or what Portable gives.</summary>
    public sealed class Target
    {
        public static readonly Target Standard = new Target("standard", null);

        /// <summary>The portable OBS in a folder; the program takes only an absolute path.</summary>
        public static Target Portable(string obsRoot) =>
            new Target("portable", obsRoot ?? throw new ArgumentNullException(nameof(obsRoot)));

        private Target(string kind, string root)
        {
            Kind = kind;
            Root = root;
        }

        internal string Kind { get; }
        internal string Root { get; }
    }

    public sealed class Result
    {
        internal Result(Result run, Outcome outcome, Reason? reason = null, string state = "",
                        string detail = null, OldCopy? oldCopy = null, bool? obsRunning = null,
                        bool retryable = false)
            : this(run.ExitCode, run.StandardOutput, run.StandardError)
        {
            Outcome = outcome;
            Reason = reason;
            State = state;
            Detail = detail;
            OldCopy = oldCopy;
            ObsRunning = obsRunning;
            Retryable = retryable;
        }

        internal Result(long? exitCode, string output, string error, Reason? reason = null)
        {
            Outcome = Outcome.Unavailable;
            Reason = reason;
            State = "";
            ExitCode = exitCode;
            StandardOutput = output;
            StandardError = error;
        }

        public Outcome Outcome { get; }
        /// <summary>Why the outcome is Unavailable.</summary>
        public Reason? Reason { get; }
        /// <summary>What happened, or what was found; empty without an answer.</summary>
        public string State { get; }
        /// <summary>128 and the signal's number where a signal ended the run.</summary>
        public long? ExitCode { get; }
        /// <summary>An English sentence, or nothing, for a log and for people.</summary>
        public string Detail { get; }
        /// <summary>Where it may be, if it Failed and the answer tells.</summary>
        public OldCopy? OldCopy { get; }
        public bool? ObsRunning { get; }
        /// <summary>Whether trying again can help although nobody has done anything.</summary>
        public bool Retryable { get; }
        public string StandardOutput { get; }
        public string StandardError { get; }

        internal Result As(Outcome outcome, bool retryable = false) =>
            new Result(this, outcome, Reason, State, Detail, null, ObsRunning, retryable);
    }

    /// <summary>Runs one command at a time: other calls wait their turn.</summary>
    public sealed class Driver
    {
        // For all targets: the same folder can be spelled in many ways.
        private static readonly object Lock = new object();
        // The systems' clocks bear no more.
        private static readonly TimeSpan Longest = TimeSpan.FromMilliseconds(int.MaxValue);
        private readonly string[] command;
        private readonly TimeSpan timeout;

        /// <param name="command">The program, behind what starts it.</param>
        /// <param name="timeout">Of each run; ten minutes if there is none.</param>
        public Driver(IEnumerable<string> command, TimeSpan? timeout = null)
        {
            this.command = command.ToArray();
            this.timeout = timeout ?? TimeSpan.FromMinutes(10);
            if (this.timeout > Longest || this.timeout == Timeout.InfiniteTimeSpan)
                this.timeout = Longest;
        }

        public Result Status(Target target) => Alone(() => Run("status", target));
        public Result Install(Target target) => Alone(() => Run("install", target));
        public Result Remove(Target target) => Alone(() => Run("remove", target));

        /// <summary>Installs unless it is installed already; the pause is a second unless told.</summary>
        public Result EnsureInstalled(Target target, int attempts = 3, TimeSpan? pause = null) =>
            Alone(() => Ensure("install", Protocol.Valid, target, attempts, pause));

        /// <summary>Removes unless it is gone already; the pause is a second unless told.</summary>
        public Result EnsureRemoved(Target target, int attempts = 3, TimeSpan? pause = null) =>
            Alone(() => Ensure("remove", Protocol.Absent, target, attempts, pause));

        private static Result Alone(Func<Result> call)
        {
            lock (Lock) return call();
        }

        private Result Ensure(string verb, string wanted, Target target, int attempts,
                              TimeSpan? pause)
        {
            for (int attempt = 1; ; ++attempt)
            {
                // What an earlier attempt has done is not nothing.
                Outcome nothing = attempt == 1 ? Outcome.NothingToDo : Outcome.Done;
                Result before = verb == "install" ? Run("status", target) : null;
                if (before?.State == wanted) return before.As(nothing);
                bool acts = before == null || before.Outcome == Outcome.Done;
                Result result = acts ? Run(verb, target) : before;
                if (verb == "remove" && result.Outcome == Outcome.Busy && target.Root == null)
                {
                    // A removal looks for OBS before it looks for the plugin.
                    Result found = Run("status", target);
                    if (found.State == wanted && found.Detail == null) return found.As(nothing);
                }
                if (result.Outcome == Outcome.NothingToDo) return result.As(nothing);
                if (result.Outcome == Outcome.Done)
                {
                    result = Run("status", target);
                    if (result.State == wanted) return result;
                    if (result.Outcome == Outcome.Done)
                        result = result.As(Outcome.Failed, retryable: true);
                }
                if (!result.Retryable || attempt >= attempts) return result;
                Thread.Sleep(pause ?? TimeSpan.FromSeconds(1));
            }
        }

        private Result Run(string verb, Target target)
        {
            string word = "--" + verb + "-" + target.Kind;
            var arguments = new List<string>(command) { word };
            if (target.Root != null) arguments.Add(target.Root);
            Result run = ProgramRun.Of(arguments, timeout);
            return run.Reason == null ? Answer.Read(word, run) : run;
        }
    }

    /// <summary>The lines of an answer, and what it means.</summary>
    internal sealed class Answer
    {
        private readonly string state, detail, retry;
        private readonly Outcome outcome;
        private readonly Regex output, error;

        internal Answer(string state, string stream, string detail, Outcome outcome, string retry,
                        params string[] keys)
        {
            this.state = state;
            this.outcome = outcome;
            this.retry = retry;
            string report = "state=" + state + "\n" + string.Concat(keys.Select(Line));
            this.detail = detail == "never" ? "" : Line("detail");
            if (detail == "if-any") this.detail = "(" + this.detail + ")?";
            output = Whole(stream == "stdout" ? report : "");
            error = Whole((stream == "stdout" ? "" : report) + this.detail);
        }

        private static string Line(string key) =>
            key + "=(?<" + key + ">" + Protocol.Values[key] + ")\n";

        private static Regex Whole(string text) => new Regex("\\A" + text + "\\z");

        internal static Result Read(string word, Result run)
        {
            string output = run.StandardOutput.Replace("\r\n", "\n");
            string error = run.StandardError.Replace("\r\n", "\n");
            bool usage = run.ExitCode == Protocol.UsageCode;
            if (usage && output == "" &&
                error.StartsWith(Protocol.UsageBegins, StringComparison.Ordinal))
            {
                return new Result(run, Outcome.Refused);
            }
            var rows = Protocol.Rows.Where(row => row.Word == word && row.Code == run.ExitCode);
            foreach (var row in rows)
            {
                Match inOutput = row.Answer.output.Match(output);
                Match inError = row.Answer.error.Match(error);
                if (inOutput.Success && inError.Success)
                    return row.Answer.Meaning(run, inError.Groups["detail"],
                                              inOutput.Groups["obsRunning"]);
            }
            Reason reason = usage || rows.Any() ? Reason.Garbled : Reason.Crashed;
            return new Result(run, Outcome.Unavailable, reason);
        }

        private Result Meaning(Result run, Group detail, Group obsRunning)
        {
            string text = detail.Success ? detail.Value : "";
            var advice = Protocol.Texts.FirstOrDefault(row => row.Text == text);
            long code = run.ExitCode.Value;
            bool restored = advice.Restored != null && advice.Restored.Contains(code);
            bool again = advice.Retry != null && advice.Retry.Contains(code);
            Outcome result = restored ? Outcome.FailedRestored : outcome;
            return new Result(
                run, result, null, state, detail.Success ? text : null,
                result == Outcome.Failed ? advice.OldCopy : null,
                obsRunning.Success ? obsRunning.Value == "1" : (bool?)null,
                retry == "yes" || again);
        }
    }

    internal static class ProgramRun
    {
        private const int Limit = 64 * 1024; // bytes of a stream
        // For a run to vanish that was ended, and its streams.
        private static readonly TimeSpan Grace = TimeSpan.FromSeconds(2);
        private const string Setsid = "setsid";
        private static readonly bool OnWindows = Path.DirectorySeparatorChar == '\\';

        /// <summary>Has a reason unless the program ended by itself; its answer is not read yet.</summary>
        internal static Result Of(IList<string> arguments, TimeSpan timeout)
        {
            var clock = Stopwatch.StartNew();
            Func<TimeSpan> left = () =>
                timeout > clock.Elapsed ? timeout - clock.Elapsed : TimeSpan.Zero;
            using (Process process = Started(arguments))
            {
                if (process == null) return new Result(null, "", "", Reason.NotStarted);
                process.StandardInput.Close();
                var finished = new BlockingCollection<Reader>();
                var readers = new[] { process.StandardOutput, process.StandardError }
                    .Select(stream => new Reader(stream.BaseStream, finished)).ToArray();
                Reason? reason = null;
                try
                {
                    for (int ended = 0; ended < readers.Length && reason == null; ++ended)
                    {
                        if (!finished.TryTake(out Reader reader, left())) reason = Reason.Timeout;
                        else if (reader.TooMuch) reason = Reason.TooMuch;
                    }
                    if (reason == null && !process.WaitForExit((int)left().TotalMilliseconds))
                        reason = Reason.Timeout;
                }
                catch (ThreadInterruptedException)
                {
                    End(process);
                    throw;
                }
                if (reason != null) End(process);
                string output = readers[0].Text(), error = readers[1].Text();
                // Windows has codes above those of an int.
                long? code = reason == null ? unchecked((uint)process.ExitCode) : (long?)null;
                // What setsid says when it finds no program; no answer has these codes.
                bool missing = (code == 126 || code == 127) && error.StartsWith(Setsid + ": ");
                return missing && !OnWindows ? new Result(null, "", "", Reason.NotStarted)
                                             : new Result(code, output, error, reason);
            }
        }

        // Windows can end all that a process has started. Elsewhere setsid, if it is there, makes the
        // program the first of a group that a shell can end.
        private static Process Started(IEnumerable<string> arguments)
        {
            // The system would take an argument with a zero character for a shorter one.
            if (arguments.Any(argument => argument.Contains('\0'))) return null;
            Process inGroup = OnWindows ? null : Begun(new[] { Setsid }.Concat(arguments).ToArray());
            return inGroup ?? Begun(arguments.ToArray());
        }

        private static Process Begun(params string[] arguments)
        {
            var start = new ProcessStartInfo
            {
                FileName = arguments[0],
                Arguments = string.Join(" ", arguments.Skip(1).Select(Quoted)),
                UseShellExecute = false,
                CreateNoWindow = true,
                RedirectStandardInput = true,
                RedirectStandardOutput = true,
                RedirectStandardError = true,
            };
            try
            {
                return Process.Start(start);
            }
            catch (Exception failure) when (
                failure is Win32Exception || failure is InvalidOperationException)
            {
                return null;
            }
        }

        // One argument as CommandLineToArgvW reads it, and .NET elsewhere: backslashes count double
        // before a quote only. Mono's own rule on Unix is a shell's: they count double everywhere.
        private static string Quoted(string argument)
        {
            if (!OnWindows && Type.GetType("Mono.Runtime") != null)
                return "\"" + Regex.Replace(argument, "[\\\\\"$`]", "\\$0") + "\"";
            string inner = Regex.Replace(argument, "(\\\\*)\"", "$1$1\\\"");
            return "\"" + Regex.Replace(inner, "(\\\\+)\\z", "$1$1") + "\"";
        }

        private static void End(Process process)
        {
            string id = process.Id.ToString();
            string taskkill = Path.Combine(Environment.SystemDirectory, "taskkill.exe");
            using (Process helper = OnWindows ? Begun(taskkill, "/T", "/F", "/PID", id)
                                              : Begun("sh", "-c", "kill -9 -" + id))
            {
                helper?.WaitForExit((int)Grace.TotalMilliseconds);
            }
            try
            {
                process.Kill();
            }
            catch (Exception failure) when (
                failure is Win32Exception || failure is InvalidOperationException)
            {
                // It has ended by now.
            }
            process.WaitForExit((int)Grace.TotalMilliseconds);
        }

        /// <summary>Reads a stream to its end or beyond the limit, and then puts itself in a queue.</summary>
        private sealed class Reader
        {
            private readonly MemoryStream data = new MemoryStream();
            private readonly Thread thread;

            internal Reader(Stream stream, BlockingCollection<Reader> finished)
            {
                thread = new Thread(() => Read(stream, finished)) { IsBackground = true };
                thread.Start();
            }

            internal bool TooMuch => data.Length > Limit;

            /// <summary>What has come; longer than the grace reads only what was not to be ended.</summary>
            internal string Text()
            {
                thread.Join(Grace);
                lock (data)
                {
                    int count = (int)Math.Min(data.Length, Limit);
                    return Encoding.UTF8.GetString(data.ToArray(), 0, count);
                }
            }

            private void Read(Stream stream, BlockingCollection<Reader> finished)
            {
                var block = new byte[4096];
                try
                {
                    using (stream)
                    {
                        for (int count = 1; count > 0 && !TooMuch;)
                        {
                            count = stream.Read(block, 0, block.Length);
                            lock (data) data.Write(block, 0, count);
                        }
                    }
                }
                catch (Exception failure) when (
                    failure is IOException || failure is ObjectDisposedException)
                {
                    // The stream was closed over it.
                }
                finished.Add(this);
            }
        }
    }
}
