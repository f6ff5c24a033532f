#include "campaign_disk.h"

namespace k7k::test {

CampaignDisk::CampaignDisk(const Sandbox& sandbox, const Trigger& trigger, const Fault& fault)
    : sandbox_(sandbox), trigger_(trigger), fault_(fault) {
  fails = [this](const DiskCall& call) { return Decide(call); };
}

bool CampaignDisk::Decide(const DiskCall& call) {
  if (call.call == Call::WalkOpen) walk_root_ = call.path;
  Asked asked;
  asked.call = call.call;
  asked.name = sandbox_.NameOf(call.path);
  if (!call.to.empty()) asked.to = sandbox_.NameOf(call.to);

  const bool by_trigger = trigger_.fails && trigger_.fails(asked);
  if (by_trigger) triggered_ = true;
  const bool by_fault = !by_trigger && IsHit(asked);
  asked.failed = by_trigger || by_fault;
  if (asked.failed) {
    asked.answer = false;
    const Fault fault = by_fault ? fault_ : Fault{};
    const bool walks = call.call == Call::WalkOpen || call.call == Call::WalkAdvance;
    const bool copies =
        call.call == Call::Copy && NativeDisk().Status(call.to) == FileStatus::Absent;
    asked.in_part = fault.partial && (walks || copies);
    asked.at_end = asked.in_part && walks && WalkIsAtEnd(call);
    PrepareFailure(fault);
    if (asked.in_part && copies) WriteHalf(call);
  }
  asked_.push_back(std::move(asked));
  return asked_.back().failed;
}

bool CampaignDisk::IsHit(const Asked& asked) {
  if (trigger_.fails && !triggered_) return false;
  ++counted_;
  counted_calls_.push_back(asked_.size());
  if (fault_.at == 0 || counted_ < fault_.at) return false;
  if (counted_ == fault_.at) {
    reached_ = true;
    first_hit_ = asked_.size();
    return true;
  }
  if (fault_.span == Span::Once) return false;
  if (fault_.span == Span::FromNowOn) return true;
  const Asked& first = asked_[first_hit_];
  return asked.call == first.call && asked.name == first.name && asked.to == first.to;
}

void CampaignDisk::PrepareFailure(const Fault& fault) {
  move_error = RawCode(fault.kind);
  failed_status = fault.kind == ErrorKind::NotFound ? FileStatus::Absent : FileStatus::Unreadable;
  failed_walk_yields = fault.partial;
}

void CampaignDisk::WriteHalf(const DiskCall& copy) {
  const std::string content = ReadFile(copy.path);
  *NativeDisk().OpenOutput(copy.to) << content.substr(0, content.size() / 2);
}

bool CampaignDisk::WalkIsAtEnd(const DiskCall& call) const {
  const auto walk = NativeDisk().Walk(walk_root_);
  if (call.call == Call::WalkOpen) return walk->AtEnd();
  Path last;
  for (; !walk->AtEnd(); walk->Advance()) last = walk->Entry();
  return last == call.path;
}

FileStatus CampaignDisk::Status(const Path& path) {
  const FileStatus status = FaultDisk::Status(path);
  asked_.back().status = status;
  asked_.back().answer = Exists(status);
  return status;
}

FinalPathAnswer CampaignDisk::FinalPath(const Path& path) {
  const FinalPathAnswer answer = FaultDisk::FinalPath(path);
  asked_.back().status = answer.status;
  asked_.back().answer = Exists(answer.status);
  return answer;
}

std::optional<std::uint64_t> CampaignDisk::Size(const Path& path) {
  const auto size = FaultDisk::Size(path);
  asked_.back().answer = size.has_value();
  return size;
}

bool CampaignDisk::CreateFolder(const Path& path) {
  const bool created = FaultDisk::CreateFolder(path);
  asked_.back().answer = created;
  return created;
}

bool CampaignDisk::Copy(const Path& from, const Path& to) {
  const bool copied = FaultDisk::Copy(from, to);
  asked_.back().answer = copied;
  return copied;
}

bool CampaignDisk::Flush(const Path& path) {
  const bool flushed = FaultDisk::Flush(path);
  asked_.back().answer = flushed;
  return flushed;
}

int CampaignDisk::Move(const Path& from, const Path& to) {
  const int error = FaultDisk::Move(from, to);
  asked_.back().error = error;
  asked_.back().answer = error == 0;
  return error;
}

std::unique_ptr<std::istream> CampaignDisk::OpenInput(const Path& path) {
  auto stream = FaultDisk::OpenInput(path);
  asked_.back().answer = stream && !asked_.back().failed;
  return stream;
}

}  // namespace k7k::test
