#include "power_judge.h"

#include <algorithm>

namespace k7k::test {

namespace {

std::string Found(const std::string& what, const std::string& name, const Tree& place,
                  const Tree& backup) {
  return what + ": " + name + NamesOf(place) + ", backup" + NamesOf(backup);
}

}  // namespace

PowerJudge::PowerJudge(bool removal, const Sandbox& sandbox, const Tree& before, const Run& run,
                       const Reading& reading)
    : removal_(removal), before_(before), succeeds_(run.ending.outcome == 0) {
  const bool cut_short = CopyWasCutShort(run.asked);
  for (const Piece& piece : sandbox.pieces()) {
    pieces_.push_back({&piece, cut_short ? WithoutExtraLocale(piece.fresh) : piece.fresh, piece.old,
                       reading.unseen.contains(piece.place)});
  }
  // An install that was told that its swap did not get to the medium promises no more for it.
  for (const Asked& asked : run.asked) {
    if (!removal && asked.call == Call::Flush && !asked.answer) succeeds_ = false;
  }
}

void PowerJudge::Pass(const Asked& asked) {
  for (PieceRules& rules : pieces_) {
    const Piece& piece = *rules.piece;
    if (asked.call == Call::Remove && IsAtOrBelow(asked.name, piece.place)) rules.undoing = true;
    if (asked.call == Call::Remove && IsAtOrBelow(asked.name, piece.removal)) {
      rules.left.erase(asked.name.substr(piece.removal.size()));
    }
    if (Is(asked, Call::Move, piece.removal) && rules.left != piece.old) rules.put_back = true;
  }
}

void PowerJudge::End() { has_succeeded_ = succeeds_; }

std::string PowerJudge::Stage() const {
  std::string stage = has_succeeded_ ? "succeeded" : "";
  for (const PieceRules& rules : pieces_) {
    stage += std::string(rules.unseen ? " unseen" : "") + (rules.undoing ? " undoing" : "") +
             (rules.put_back ? " put back" : "") + NamesOf(rules.left) + NamesOf(rules.fresh);
  }
  return stage;
}

std::string PowerJudge::WrongWith(const Tree& tree) const {
  for (const PieceRules& rules : pieces_) {
    const std::string wrong =
        removal_ ? WrongAfterRemoval(rules, tree) : WrongAfterInstall(rules, tree);
    if (!wrong.empty()) return wrong;
  }
  return WrongAround(tree);
}

std::string PowerJudge::WrongAfterInstall(const PieceRules& rules, const Tree& tree) const {
  const Piece& piece = *rules.piece;
  const Tree place = Below(tree, piece.place);
  const Tree backup = Below(tree, piece.backup);
  const auto wrong = [&](const char* what) { return Found(what, piece.place, place, backup); };
  if (!IsPartOf(backup, piece.old)) return wrong("the backup is not of the old copy");
  if (place == piece.fresh || place == rules.fresh) return {};
  if (has_succeeded_) return wrong("installed, and the new copy is not there");
  if (place == piece.old) return {};
  const bool part_of_new = IsPartOf(place, piece.fresh);
  if (rules.unseen && (part_of_new || IsPartOf(place, piece.old))) return {};
  if (backup != piece.old) return wrong("the old copy is lost, and the new one is not there");
  if (!place.empty() && !(rules.undoing && part_of_new)) return wrong("neither old nor new");
  return {};
}

std::string PowerJudge::WrongAfterRemoval(const PieceRules& rules, const Tree& tree) const {
  const Piece& piece = *rules.piece;
  const Tree place = Below(tree, piece.place);
  const Tree backup = Below(tree, piece.removal);
  const auto wrong = [&](const char* what) { return Found(what, piece.place, place, backup); };
  if (rules.unseen) return place == piece.old ? "" : wrong("an unseen piece was touched");
  if (has_succeeded_) return place.empty() ? "" : wrong("removed, and still there");
  if (place == piece.old) return {};
  if (!place.empty() && !rules.put_back) return wrong("a part of the old copy");
  const Tree& rest = place.empty() ? backup : place;
  if (IsPartOf(rules.left, rest) && IsPartOf(rest, piece.old)) return {};
  return wrong("more is lost than was deleted");
}

// What is beside the plugin stays as it is, and nothing but its missing parents comes.
std::string PowerJudge::WrongAround(const Tree& tree) const {
  for (const auto& [name, content] : tree) {
    if (BelongsToPlugin(name)) continue;
    const auto before = before_.find(name);
    const bool known = before == before_.end() ? !removal_ && content == "folder" && IsParent(name)
                                               : before->second == content;
    if (!known) return name + " appeared or changed";
  }
  for (const auto& [name, content] : before_) {
    if (!BelongsToPlugin(name) && !tree.contains(name)) return name + " is gone";
  }
  return {};
}

bool PowerJudge::BelongsToPlugin(const std::string& name) const {
  return std::any_of(pieces_.begin(), pieces_.end(), [&](const PieceRules& rules) {
    const Piece& piece = *rules.piece;
    return IsAtOrBelow(name, piece.place) || IsAtOrBelow(name, piece.staging) ||
           IsAtOrBelow(name, piece.backup) || IsAtOrBelow(name, piece.removal);
  });
}

bool PowerJudge::IsParent(const std::string& name) const {
  return std::any_of(pieces_.begin(), pieces_.end(), [&](const PieceRules& rules) {
    return IsAtOrBelow(rules.piece->place, name);
  });
}

}  // namespace k7k::test
