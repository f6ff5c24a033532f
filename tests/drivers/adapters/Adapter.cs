// Makes calls of the C# driver; tests/drivers/adapters.py tells how it is asked.

using System;
using System.Collections.Generic;
using System.Linq;
using System.Text;
using System.Text.RegularExpressions;
using System.Threading.Tasks;
using K7kObsConnector;

internal static class Adapter
{
    private static void Tell(string key, string value)
    {
        if (value != null) Console.Write("{0} {1}\n", key, Encoded(value));
    }

    // Uri.EscapeDataString takes no long texts.
    private static string Encoded(string value) =>
        string.Concat(Encoding.UTF8.GetBytes(value).Select(code => "%" + code.ToString("X2")));

    // The word of an enumeration's member.
    private static string Word(object member) =>
        Regex.Replace(member.ToString(), "(?<!^)[A-Z]", "-$0").ToLowerInvariant();

    private static void Tell(Result result)
    {
        Tell("outcome", Word(result.Outcome));
        if (result.Reason != null) Tell("reason", Word(result.Reason));
        Tell("state", result.State);
        Tell("exitCode", result.ExitCode?.ToString());
        Tell("detail", result.Detail);
        if (result.OldCopy != null) Tell("oldCopy", Word(result.OldCopy));
        Tell("obsRunning", result.ObsRunning?.ToString().ToLowerInvariant());
        Tell("retryable", result.Retryable.ToString().ToLowerInvariant());
        Tell("stdout", result.StandardOutput);
        Tell("stderr", result.StandardError);
        Console.Write("\n");
    }

    private static Result Call(Driver driver, Dictionary<string, string> fields, int number)
    {
        Target target = fields.ContainsKey("target")
            ? Target.Portable(fields["target"] + new string('/', number)) : Target.Standard;
        int attempts = int.Parse(fields["attempts"]);
        TimeSpan pause = TimeSpan.FromMilliseconds(int.Parse(fields["pauseMs"]));
        switch (fields["call"])
        {
            case "status": return driver.Status(target);
            case "install": return driver.Install(target);
            case "remove": return driver.Remove(target);
            case "ensureInstalled": return driver.EnsureInstalled(target, attempts, pause);
            default: return driver.EnsureRemoved(target, attempts, pause);
        }
    }

    private static Task<Result> Start(Func<Result> call) =>
        Task.Factory.StartNew(call, TaskCreationOptions.LongRunning);

    private static void Main()
    {
        var command = new List<string>();
        var fields = new Dictionary<string, string>();
        for (string line; (line = Console.In.ReadLine()) != null;)
        {
            if (line != "")
            {
                string[] parts = line.Split(new[] { ' ' }, 2);
                string value = Uri.UnescapeDataString(parts[1]);
                if (parts[0] == "command") command.Add(value);
                else fields[parts[0]] = value;
                continue;
            }
            TimeSpan timeout = TimeSpan.FromMilliseconds(int.Parse(fields["timeoutMs"]));
            var driver = new Driver(command, timeout);
            var calls = Enumerable.Range(0, int.Parse(fields["parallel"]))
                .Select(number => Start(() => Call(driver, fields, number))).ToArray();
            foreach (Task<Result> call in calls) Tell(call.Result);
            Console.Out.Flush();
            command.Clear();
            fields.Clear();
        }
    }
}
