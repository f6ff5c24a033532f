#include <algorithm>
#include <array>

#include "judge.h"
#include "support/bundle_facts.h"

namespace k7k::test {

bool IsPartOf(const Tree& part, const Tree& whole, bool half_files) {
  return std::all_of(part.begin(), part.end(), [&](const auto& entry) {
    const auto found = whole.find(entry.first);
    if (found == whole.end()) return false;
    return found->second == entry.second || (half_files && found->second.starts_with(entry.second));
  });
}

std::string NamesOf(const Tree& tree) {
  std::string names = "{";
  for (const auto& [name, content] : tree) names += " " + (name.empty() ? "itself" : name);
  return names + " }";
}

bool CopyWasCutShort(const std::vector<Asked>& asked) {
  const auto staging = std::find_if(asked.begin(), asked.end(), [](const Asked& call) {
    return call.call == Call::CreateFolder && call.name.find('<') != std::string::npos;
  });
  return std::any_of(staging, asked.end(), [](const Asked& call) {
    const bool step = call.call == Call::WalkOpen || call.call == Call::WalkAdvance;
    return step && call.failed && !call.in_part;
  });
}

Tree WithoutExtraLocale(Tree tree) {
  std::erase_if(tree,
                [](const auto& entry) { return entry.first.ends_with(BelowData(kExtraLocale)); });
  return tree;
}

namespace {

class TreeCheck {
 public:
  TreeCheck(bool removal, const Sandbox& sandbox, const Reading& reading, const Run& run)
      : removal_(removal), sandbox_(sandbox), reading_(reading), run_(run) {}

  Verdict Check() {
    for (const Piece& piece : sandbox_.pieces()) {
      if (removal_) {
        CheckRemoved(piece);
      } else {
        CheckInstalled(piece);
      }
    }
    CheckAround();
    return std::move(verdict_);
  }

 private:
  Tree Now(const std::string& name) const { return Below(run_.after, name); }

  void Wrong(const std::string& text) { verdict_.wrong.push_back(text); }

  // A tree without what the run's removals took from it when it stood under this name.
  Tree WithoutRemoved(Tree tree, const std::string& name) const {
    for (const Asked& asked : run_.asked) {
      if (asked.call == Call::Remove && !asked.failed && IsAtOrBelow(asked.name, name)) {
        tree.erase(asked.name.substr(name.size()));
      }
    }
    return tree;
  }

  // Whether the last removal of this entry was kept from doing its work: it could not ask about the
  // entry, was told falsely that nothing is there, or could not remove a part of it.
  bool RemovalFailed(const std::string& name) const {
    const auto& asked = run_.asked;
    const auto status = std::find_if(asked.rbegin(), asked.rend(), [&](const Asked& call) {
      return Is(call, Call::Status, name);
    });
    if (status != asked.rend() && status->failed) return true;
    return std::any_of(asked.begin(), asked.end(), [&](const Asked& call) {
      return call.call == Call::Remove && call.failed && IsAtOrBelow(call.name, name);
    });
  }

  bool Succeeded() const { return run_.ending.outcome == 0; }

  void CheckInstalled(const Piece& piece) {
    const Tree staging = Now(piece.staging);
    if (!staging.empty() && (Succeeded() || !RemovalFailed(piece.staging) ||
                             !IsPartOf(WithoutMarks(staging), WithoutMarks(piece.fresh), true))) {
      Wrong("staging is left: " + NamesOf(staging));
    }
    if (!Now(piece.removal).empty()) Wrong("a removal backup is there");
    if (Succeeded()) {
      CheckNew(piece);
    } else {
      CheckOldIsKept(piece);
    }
  }

  Tree Expected(const Tree& tree) const {
    const Tree expected = WithoutMarks(tree);
    return CopyWasCutShort(run_.asked) ? WithoutExtraLocale(expected) : expected;
  }

  void CheckNew(const Piece& piece) {
    if (Expected(Now(piece.place)) != Expected(piece.fresh)) {
      Wrong("not exactly the new copy at " + piece.place + ": " + NamesOf(Now(piece.place)));
    }
    const Tree backup = Now(piece.backup);
    if (backup.empty()) return;
    // The message tells of a backup that could not be deleted; that it does is judged with the
    // ending. One that was answered to be absent is left without a word: nothing can know.
    const bool kept = reading_.step == kDurability || RemovalFailed(piece.backup);
    if (!kept || backup != WithoutRemoved(piece.old, piece.backup)) {
      Wrong("a backup is left: " + NamesOf(backup));
    }
  }

  void CheckOldIsKept(const Piece& piece) {
    const Tree place = Now(piece.place);
    const Tree backup = Now(piece.backup);
    if (reading_.unseen.contains(piece.place)) return CheckUnseen(piece, place, backup);
    if (place == piece.old && backup.empty()) return;
    // What the undoing could not take away of the new copy; the old one then cannot come back.
    const bool rest_of_new =
        place.empty() || (RemovalFailed(piece.place) &&
                          IsPartOf(WithoutMarks(place), WithoutMarks(piece.fresh), false));
    const bool old_is_safe =
        piece.old.empty()
            ? backup.empty()
            : backup == piece.old && GaveUpMove(run_.asked, piece.backup, piece.place);
    if (!rest_of_new || !old_is_safe) {
      Wrong("the old copy is neither at " + piece.place + ": " + NamesOf(place) +
            " nor, after a failed move back, at its backup: " + NamesOf(backup));
    }
  }

  // An old piece that was there and answered not to be there has no backup. What is moved in then
  // replaces a file, and a roll-back removes what it finds at the place: the piece may be lost, in
  // favour of the new one, a part of it or nothing, but of nothing else.
  void CheckUnseen(const Piece& piece, const Tree& place, const Tree& backup) {
    if (place == piece.old && backup.empty()) return;
    verdict_.lost_unseen = true;
    constexpr std::array kMovingIn{"swap", "installed check", "DLL commit", "data commit"};
    const bool injected = reading_.step.empty();
    if (!injected &&
        std::find(kMovingIn.begin(), kMovingIn.end(), reading_.step) == kMovingIn.end()) {
      Wrong("an unseen piece was touched before anything was moved in: " + piece.place);
    }
    const bool part_of_old = IsPartOf(place, piece.old, false);
    const bool part_of_new = IsPartOf(WithoutMarks(place), WithoutMarks(piece.fresh), false);
    if (!backup.empty() || (!part_of_old && !part_of_new)) {
      Wrong("neither old nor new at " + piece.place + ", which was not seen: " + NamesOf(place));
    }
  }

  void CheckRemoved(const Piece& piece) {
    const Tree place = Now(piece.place);
    const Tree backup = Now(piece.removal);
    if (!Now(piece.staging).empty() || !Now(piece.backup).empty()) {
      Wrong("a removal left an install's private entry");
    }
    // A library that could not be asked about, or a piece that was answered to be absent, stays.
    if (reading_.unseen.contains(piece.place)) {
      if (place != piece.old || !backup.empty()) Wrong("an unseen piece was touched");
      return;
    }
    const Tree left = WithoutRemoved(piece.old, piece.removal);
    if (Succeeded()) {
      // A backup that was answered to be absent is left without a word: nothing can know.
      const bool lied_to = RemovalFailed(piece.removal) && backup == left;
      if (!place.empty()) Wrong("still at " + piece.place + ": " + NamesOf(place));
      if (!backup.empty() && !lied_to) Wrong("a backup is left: " + NamesOf(backup));
      return;
    }
    // Only a deletion may take anything, and only when nothing else went wrong before.
    const bool deleting = reading_.step == "deletion";
    if (!deleting && left != piece.old) Wrong("deleted without leave: " + piece.place);
    const bool at_place = place == left && backup.empty();
    // A portable removal puts nothing back, but it tries to delete the other piece as well.
    const bool stays_detached =
        sandbox_.pieces().size() == 2 &&
        (reading_.step == kDurability || (deleting && RemovalFailed(piece.removal)));
    const bool at_backup = backup == left && place.empty() &&
                           (stays_detached || GaveUpMove(run_.asked, piece.removal, piece.place));
    if (!at_place && !at_backup) {
      Wrong("what is left is neither at " + piece.place + ": " + NamesOf(place) +
            " nor at its backup: " + NamesOf(backup));
    }
  }

  bool BelongsToPlugin(const std::string& name) const {
    const auto& pieces = sandbox_.pieces();
    return std::any_of(pieces.begin(), pieces.end(), [&](const Piece& piece) {
      return IsAtOrBelow(name, piece.place) || IsAtOrBelow(name, piece.staging) ||
             IsAtOrBelow(name, piece.backup) || IsAtOrBelow(name, piece.removal);
    });
  }

  bool IsNewParent(const std::string& name, const std::string& content) const {
    const auto& pieces = sandbox_.pieces();
    return !removal_ && content == "folder" &&
           std::any_of(pieces.begin(), pieces.end(),
                       [&](const Piece& piece) { return IsAtOrBelow(piece.place, name); });
  }

  // What is beside the plugin stays as it is, and nothing but its missing parents comes.
  void CheckAround() {
    const bool nothing_touched =
        !removal_ && run_.ending.outcome == static_cast<int>(InstallOutcome::BundleInvalid);
    if (nothing_touched && run_.after != sandbox_.before()) Wrong("something was touched");
    for (const auto& [name, content] : run_.after) {
      if (BelongsToPlugin(name)) continue;
      const auto before = sandbox_.before().find(name);
      if (before == sandbox_.before().end() ? !IsNewParent(name, content)
                                            : before->second != content) {
        Wrong(name + " appeared or changed");
      }
    }
    for (const auto& [name, content] : sandbox_.before()) {
      if (!BelongsToPlugin(name) && !run_.after.contains(name)) Wrong(name + " is gone");
    }
  }

  const bool removal_;
  const Sandbox& sandbox_;
  const Reading& reading_;
  const Run& run_;
  Verdict verdict_;
};

}  // namespace

Verdict CheckTree(bool removal, const Sandbox& sandbox, const Reading& reading, const Run& run) {
  return TreeCheck(removal, sandbox, reading, run).Check();
}

}  // namespace k7k::test
