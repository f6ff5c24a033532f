// The manifest's format a second time, without the engine: what a manifest must say and what a
// reader must answer. The files and the header are those of support/bundle_facts.h.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/reference_digest.h"

namespace k7k::test {

// The required files, in their order.
const std::vector<std::string>& RequiredNames();

// The contents of a bundle's files by their names; a file that cannot be read is not in it.
using Contents = std::map<std::string, std::string>;

// The lines of a right manifest for these contents, without their ends.
std::vector<std::string> ReferenceLines(const Contents& contents);

// Lines as one text, each with this end.
std::string Joined(const std::vector<std::string>& lines, const std::string& end = "\n");

// The message with which a manifest (nothing: it cannot be opened) must be refused for a bundle of
// these contents; empty when it must be accepted. Digests may be given when they are known already.
std::wstring JudgeManifest(const std::optional<std::string>& manifest, const Contents& contents);
std::wstring JudgeManifestByDigests(const std::optional<std::string>& manifest,
                                    const Contents& digests);

}  // namespace k7k::test
