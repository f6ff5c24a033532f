"""The protocol as C++ source."""

import model
from emit import comment, quoted, row


def constant(word):
    return "".join(part.capitalize() for part in word.split("-"))


def enumeration(name, purpose, words):
    yield ""
    yield f"// {purpose}"
    yield f"enum class {name} {{"
    for word, meaning in words.items():
        yield from comment("  // ", meaning)
        yield f"  {constant(word)},"
    yield "};"
    yield f"inline std::string_view Word({name} value) {{"
    literals = [quoted(word) for word in words]
    yield from row("  constexpr std::string_view words[] = {", literals, "};")
    yield "  return words[static_cast<std::size_t>(value)];"
    yield "}"


def truth(value):
    return "true" if value else "false"


def answer_lines():
    for name, answer in model.ANSWERS.items():
        assert answer.keys in ((), ("obsRunning",))
        yield from row(f"inline constexpr Answer k{constant(name)} = {{", [
            quoted(answer.state), truth(answer.stream == "stderr"), truth(answer.keys),
            f"Detail::{constant(answer.detail)}", f"Outcome::{constant(answer.outcome)}",
            f"Retry::{constant(answer.retry)}"], "};")


def rows():
    for command in model.COMMANDS:
        for code, names in command.answers.items():
            for name in names:
                yield f"{{{quoted(command.word)}, {code}, &k{constant(name)}}}"


def text_lines():
    for detail in model.DETAILS:
        codes = [f"{{{', '.join(map(str, codes))}}}" for codes in (detail.retry, detail.restored)]
        old_copy = f"OldCopy::{constant(detail.old_copy)}" if detail.old_copy else "{}"
        yield from row("    {", [quoted(detail.text), *codes, old_copy], "},")


def lines():
    assert model.VALUES == {"obsRunning": "[01]", "detail": "[ -~]*"}
    most = max(len(codes) for detail in model.DETAILS for codes in (detail.retry, detail.restored))
    yield "// clang-format off"
    yield from enumeration("Outcome", "What a call came to.", model.OUTCOMES)
    yield from enumeration("Reason", "Why the program gave no answer.", model.REASONS)
    yield from enumeration("OldCopy", "Where the old copy may be.", model.OLD_COPIES)
    yield ""
    yield "namespace internal {"
    yield "enum class Detail { Never, IfAny, Always };"
    yield "enum class Retry { No, Yes, ByDetail };"
    yield ""
    yield "// The lines of an answer on one stream, state= first; detail= is on standard error."
    yield "struct Answer {"
    yield "  std::string_view state;"
    yield "  bool on_stderr, obs_running;"
    yield "  Detail detail;"
    yield "  Outcome outcome;"
    yield "  Retry retry;"
    yield "};"
    yield "struct Row {"
    yield "  std::string_view word;"
    yield "  std::uint32_t code;"
    yield "  const Answer* answer;"
    yield "};"
    yield f"constexpr std::size_t kMostCodes = {most};"
    yield "// Exit codes with which a text says: trying again helps, or all is as before."
    yield "struct Text {"
    yield "  std::string_view text;"
    yield "  std::uint32_t retry[kMostCodes], restored[kMostCodes];"
    yield "  std::optional<OldCopy> old_copy;  // with all other exit codes of Failed"
    yield "};"
    yield ""
    yield f"inline constexpr std::string_view kValid = {quoted(model.VALID)};"
    yield f"inline constexpr std::string_view kAbsent = {quoted(model.ABSENT)};"
    yield f"inline constexpr std::uint32_t kUsageCode = {model.USAGE_CODE};"
    yield f"inline constexpr std::string_view kUsageBegins = {quoted(model.USAGE_BEGINS)};"
    yield "// Status, install and remove, of the standard and then of a portable target."
    words = [quoted(command.word) for command in model.COMMANDS]
    yield from row("inline constexpr std::string_view kWords[] = {", words, "};")
    yield from answer_lines()
    yield from row("inline constexpr Row kRows[] = {", list(rows()), "};")
    yield "inline constexpr Text kTexts[] = {"
    yield from text_lines()
    yield "};"
    yield "}  // namespace internal"
    yield "// clang-format on"
