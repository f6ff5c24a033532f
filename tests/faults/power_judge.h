// Says of a state in which a power cut can leave the disk whether it is one of those promised.
#pragma once

#include "judge.h"

namespace k7k::test {

class PowerJudge {
 public:
  // Of a run that ended so. `before` is the whole sandbox, and all of it on the medium.
  PowerJudge(bool removal, const Sandbox& sandbox, const Tree& before, const Run& run,
             const Reading& reading);

  // What was changed, and that the run has said its outcome: they decide what may be found then.
  void Pass(const Asked& asked);
  void End();

  // Tells apart what may be found: while it is the same, so is what is wrong with a state.
  std::string Stage() const;

  // The whole sandbox after a cut; empty when it is one of the promised ones.
  std::string WrongWith(const Tree& tree) const;

 private:
  struct PieceRules {
    const Piece* piece = nullptr;
    Tree fresh;             // as much of the new copy as has to be there
    Tree left;              // of the old copy what a removal has not deleted
    bool unseen = false;    // it was there and answered not to be
    bool undoing = false;   // what is at the place is being removed, to undo an install
    bool put_back = false;  // what a failed deletion left was moved back to the place
  };

  std::string WrongAfterInstall(const PieceRules& rules, const Tree& tree) const;
  std::string WrongAfterRemoval(const PieceRules& rules, const Tree& tree) const;
  std::string WrongAround(const Tree& tree) const;
  bool BelongsToPlugin(const std::string& name) const;
  bool IsParent(const std::string& name) const;

  const bool removal_;
  const Tree& before_;
  std::vector<PieceRules> pieces_;
  bool succeeds_;
  bool has_succeeded_ = false;
};

}  // namespace k7k::test
