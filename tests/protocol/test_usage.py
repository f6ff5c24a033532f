"""The command line: whatever is not exactly one command gets the usage text and changes nothing."""

import pytest

from sandbox import Answer

USAGE = Answer(64, "", (
    "Usage: K7KObsConnectorInstaller --self-test | --status-bundled | --write-bundled-manifest | "
    "--status-standard | --install-standard | --remove-standard | --status-portable <OBS root> | "
    "--install-portable <OBS root> | --remove-portable <OBS root>\n"))

ALONE = ("--self-test", "--status-bundled", "--write-bundled-manifest", "--status-standard",
         "--install-standard", "--remove-standard")
WITH_ROOT = ("--status-portable", "--install-portable", "--remove-portable")

ROOT = "<root>"  # stands for the sandbox's OBS folder, which every portable command would accept


def misspelled(word):
    """Words that are nearly the given one."""
    bare = word[2:]
    first = bare.split("-")[0]
    return (word.upper(), f"--{bare.capitalize()}", f"--{bare.title()}", word[:-1], word[:-3],
            f"--{first}", f"--{first}-", word + "s", word + "-", word * 2,
            word + "=", word + "=1", f"{word}={ROOT}", word + ":",
            "/" + bare, "/" + first, "-" + bare, "---" + bare, bare, "--" + bare.replace("-", "_"),
            " " + word, word + " ", "\t" + word, word + "\n", word.replace("-", "- ", 1))


def usage_cases():
    cases = [(), ("",), (" ",), ("-",), ("--",), ("---",), ("--help",), ("-h",), ("/?",),
             ("/help",), ("help",), ("--version",), ("-?",), (ROOT,), ("*",), ("%s%n",),
             ("", ""), ("", ROOT), (ROOT, "--status-portable"), (ROOT, ROOT), ("--", "--self-test"),
             ("a", "b"), ("a", "b", "c"), ("", "", ""), ("a", "b", "c", "d")]
    for word in ALONE:
        cases += [(word, ROOT), (word, ""), (word, word), (word, "--"), (word, ROOT, ROOT),
                  (word, "", ""), (word, "a", "b", "c"), ("", word), ("--", word)]
        cases += [(wrong,) for wrong in misspelled(word)]
    for word in WITH_ROOT:
        cases += [(word,), (word, ROOT, ROOT), (word, ROOT, ""), (word, "", ""), (word, ROOT, word),
                  (word, ROOT, "a", "b"), ("", word), ("", word, ROOT), (word + "=" + ROOT,)]
        cases += [(wrong, ROOT) for wrong in misspelled(word)]
    # Letters that other alphabets fold or draw like ours.
    cases += [("--\u017ftatus-bundled",), ("--status\u2010bundled",), ("\u2013-status-bundled",),
              ("--\uff53tatus-bundled",), ("--status-bundled\u00a0",), ("\u00e9",)]
    return list(dict.fromkeys(cases))


@pytest.fixture(scope="module")
def usage_box(make_sandbox):
    box = make_sandbox()
    box.write_bundle()
    box.write_obs()
    return box


def name_of(case):
    return ascii(" ".join(f"<{word}>" if word in ("", " ") else word for word in case)) or "nothing"


@pytest.mark.parametrize("case", usage_cases(), ids=name_of)
def test_usage_anything_but_a_command_gives_the_text_and_64(usage_box, case):
    root = usage_box.platform.native(usage_box.obs)
    with usage_box.unchanged():
        assert usage_box.run(*[word.replace(ROOT, root) for word in case]) == USAGE


@pytest.mark.parametrize("word", [b"--status-bundled\xff", b"\xff\xfe", b"--self-test\x80",
                                  b"\xc3"], ids=repr)
def test_usage_word_that_is_not_utf8_gives_the_text_and_64(usage_box, word):
    with usage_box.unchanged():
        assert usage_box.run(word) == USAGE


def test_usage_is_given_whatever_the_targets_look_like(sandbox):
    """The words are judged before anything on disk is."""
    sandbox.data.rmdir()
    assert sandbox.run("--status-portable") == USAGE
    assert sandbox.run("--status-standard", "x") == USAGE


@pytest.mark.parametrize("word", ALONE)
def test_command_alone_is_recognised(sandbox, word):
    assert sandbox.run(word).code != 64


@pytest.mark.parametrize("word", WITH_ROOT)
def test_portable_command_with_an_empty_root_passes_it_on(sandbox, word):
    """One empty argument is an argument: the root is refused, not the command line."""
    sandbox.write_bundle()
    with sandbox.unchanged():
        assert sandbox.run(word, "") == Answer(
            40, "", "state=target-invalid\ndetail=Portable OBS root must be an absolute path\n")
