#include "support/fault_disk.h"

#include <algorithm>
#include <sstream>
#include <streambuf>

namespace k7k::test {

namespace {

class FaultWalk : public TreeWalk {
 public:
  FaultWalk(FaultDisk& disk, std::unique_ptr<TreeWalk> real, const Path& root)
      : disk_(disk), real_(std::move(real)) {
    Step(Call::WalkOpen, root);
  }

  bool AtEnd() const override { return ended_ || real_->AtEnd(); }
  bool Failed() const override { return failed_ || real_->Failed(); }
  Path Entry() const override { return real_->Entry(); }

  void Advance() override {
    const Path entry = real_->Entry();
    failed_ = false;
    real_->Advance();
    Step(Call::WalkAdvance, entry);
  }

 private:
  void Step(Call call, const Path& path) {
    failed_ = disk_.Fails(call, path);
    ended_ = failed_ && !disk_.failed_walk_yields;
  }

  FaultDisk& disk_;
  std::unique_ptr<TreeWalk> real_;
  bool failed_ = false;
  bool ended_ = false;
};

// Gives nothing and fails, as a file on a broken disk does.
class BrokenBuffer : public std::streambuf {
 protected:
  int_type underflow() override { throw std::ios_base::failure("read error"); }
};

class BrokenInput : private BrokenBuffer, public std::istream {
 public:
  BrokenInput() : std::istream(static_cast<BrokenBuffer*>(this)) {}
};

class BrokenOutput : private BrokenBuffer, public std::ostream {
 public:
  BrokenOutput() : std::ostream(static_cast<BrokenBuffer*>(this)) {}
};

}  // namespace

bool FaultDisk::Fails(Call call, const Path& path, const Path& to) {
  calls.push_back({call, path, to});
  return fails && fails(calls.back());
}

int FaultDisk::Count(Call call) const {
  return static_cast<int>(std::count_if(calls.begin(), calls.end(),
                                        [&](const DiskCall& made) { return made.call == call; }));
}

FileStatus FaultDisk::Status(const Path& path) {
  return Fails(Call::Status, path) ? failed_status : real_.Status(path);
}

bool FaultDisk::IsReparsePoint(const Path& path) {
  return !Fails(Call::IsReparsePoint, path) && real_.IsReparsePoint(path);
}

FinalPathAnswer FaultDisk::FinalPath(const Path& path) {
  if (Fails(Call::FinalPath, path)) return {failed_status, {}};
  return real_.FinalPath(path);
}

std::optional<std::uint64_t> FaultDisk::Size(const Path& path) {
  return Fails(Call::Size, path) ? std::nullopt : real_.Size(path);
}

std::unique_ptr<TreeWalk> FaultDisk::Walk(const Path& root) {
  return std::make_unique<FaultWalk>(*this, real_.Walk(root), root);
}

bool FaultDisk::CreateFolder(const Path& path) {
  return !Fails(Call::CreateFolder, path) && real_.CreateFolder(path);
}

bool FaultDisk::Copy(const Path& from, const Path& to) {
  return !Fails(Call::Copy, from, to) && real_.Copy(from, to);
}

bool FaultDisk::Flush(const Path& path) {
  return !Fails(Call::Flush, path) && real_.Status(path) != FileStatus::Absent;
}

int FaultDisk::Move(const Path& from, const Path& to) {
  return Fails(Call::Move, from, to) ? move_error : real_.Move(from, to);
}

bool FaultDisk::RemoveAll(const Path& path) {
  // Entry by entry, as the real removal goes, so that it can fail half-way.
  std::vector<Path> entries{path};
  if (!real_.IsReparsePoint(path)) {
    for (const auto walk = real_.Walk(path); !walk->AtEnd(); walk->Advance()) {
      entries.push_back(walk->Entry());
    }
  }
  return std::all_of(entries.rbegin(), entries.rend(), [&](const Path& entry) {
    return !Fails(Call::Remove, entry) && real_.RemoveAll(entry);
  });
}

std::unique_ptr<std::istream> FaultDisk::OpenInput(const Path& path) {
  if (Fails(Call::OpenInput, path)) return nullptr;
  auto stream = real_.OpenInput(path);
  if (stream && Fails(Call::Read, path)) return std::make_unique<BrokenInput>();
  return stream;
}

std::unique_ptr<std::ostream> FaultDisk::OpenOutput(const Path& path) {
  if (Fails(Call::OpenOutput, path)) return nullptr;
  auto stream = real_.OpenOutput(path);
  if (stream && Fails(Call::Write, path)) return std::make_unique<BrokenOutput>();
  return stream;
}

void FaultDisk::Pause(std::chrono::milliseconds time) { pauses.push_back(time); }

}  // namespace k7k::test
