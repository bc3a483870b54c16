#include "TrustState.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <tavik/Json.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <utility>

#include "Entries.h"
#include "File.h"
#include "Statement.h"

namespace tavik {
namespace {

constexpr std::string_view kOwner = "the trust state";
constexpr std::size_t kMostBytes = std::size_t{1} << 20;  // what is read again

std::optional<AcceptedRevision> acceptedFrom(const Value& value, std::size_t index, std::string& error) {
  const std::string owner = "\"accepted\"[" + std::to_string(index) + "]";
  if (!checkKind(value, Kind::kDictionary, owner, error)) return std::nullopt;
  const Dictionary& entries = *value.ifDictionary();
  if (!checkKeys(entries, {"role", "product", "revision", "date"}, owner, error)) return std::nullopt;
  const Value* role = entry(entries, "role", Kind::kString, owner, error);
  const Value* product = role != nullptr ? entry(entries, "product", Kind::kString, owner, error) : nullptr;
  const Value* revision = product != nullptr ? entry(entries, "revision", Kind::kNumber, owner, error) : nullptr;
  const Value* date = revision != nullptr ? entry(entries, "date", Kind::kDate, owner, error) : nullptr;
  if (date == nullptr) return std::nullopt;
  const bool isLibrary = role->ifString() == wordOf(DocumentRole::kLibrary);
  const bool hasRole = isLibrary || role->ifString() == wordOf(DocumentRole::kLocalRules);
  if (!hasRole || revision->ifInteger().value_or(0) < 1) {
    error = std::string(hasRole ? "\"revision\"" : "\"role\"") + " of " + owner + " is invalid";
    return std::nullopt;
  }
  return AcceptedRevision{isLibrary ? DocumentRole::kLibrary : DocumentRole::kLocalRules,
                          std::string(*product->ifString()), *revision->ifInteger(), *date->ifDate()};
}

template <class Revisions>  // AcceptedRevisions, const or not
auto* find(Revisions& accepted, DocumentRole role, std::string_view product) {
  const auto found = std::ranges::find_if(
      accepted, [&](const AcceptedRevision& kept) { return kept.role == role && kept.product == product; });
  return found == accepted.end() ? nullptr : &*found;
}

std::string textOf(const AcceptedRevisions& accepted) {
  Array list;
  for (const AcceptedRevision& kept : accepted) {
    list.append(Dictionary{{"role", wordOf(kept.role)},
                           {"product", kept.product},
                           {"revision", Value(kept.revision)},
                           {"date", kept.date}});
  }
  std::string error;
  return writeJson(Dictionary{{"accepted", std::move(list)}}, error, JsonLayout::kIndented).value_or("") + "\n";
}

/// Why a file or folder does not belong to the station alone; empty if it does.
std::string whyOpenToOthers(const struct stat& status) {
  if (status.st_uid != geteuid() && status.st_uid != 0) return "belongs to another user";
  const bool isSticky = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
  const bool isWritable = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  return isWritable && !isSticky ? "other users can write it; run \"chmod go-w\" on it" : "";
}

bool checkOwner(int file, std::string& error) {
  struct stat status {};
  error = fstat(file, &status) == 0 ? whyOpenToOthers(status) : systemReason();
  return error.empty();
}

/// Waits for a lock.
bool lockFile(int file, int mode) {
  while (flock(file, mode) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

bool writeAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(file, text.data(), text.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// The folder that contains the file, opened and checked.
struct OpenFolder {
  explicit OpenFolder(const std::string& path)
      : name(std::filesystem::path(path).parent_path().string()),
        file(open(name.empty() ? "." : name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

  bool check(std::string& error) const {
    if (file.number() < 0) {
      error = systemReason();
    } else if (checkOwner(file.number(), error)) {
      return true;
    }
    error.insert(0, "its folder: ");
    return false;
  }

  std::string name;
  FileDescriptor file;
};

std::string whyOlder(const Statement& statement, const AcceptedRevision& kept) {
  return "revision " + std::to_string(statement.revision) + " is older than revision " + std::to_string(kept.revision) +
         ", which this station accepted on " + dateText(kept.date);
}

std::string clockWarning(const AcceptedRevisions& accepted, Date now) {
  const auto newest = std::ranges::max_element(
      accepted, {}, [](const AcceptedRevision& kept) { return kept.date.secondsSinceEpoch(); });
  if (newest == accepted.end() || newest->date.secondsSinceEpoch() <= now.secondsSinceEpoch()) return "";
  return "the system clock says " + dateText(now) + ", but this station accepted revision " +
         std::to_string(newest->revision) + " of " + quotedText(newest->product) + " on " + dateText(newest->date) +
         "; set the clock";
}

}  // namespace

std::optional<AcceptedRevisions> readAccepted(std::string_view text, std::string& error) {
  const std::optional<Value> content = readJson(text, error);
  if (!content || !checkKind(*content, Kind::kDictionary, kOwner, error) ||
      !checkKeys(*content->ifDictionary(), {"accepted"}, kOwner, error)) {
    return std::nullopt;
  }
  const Value* list = entry(*content->ifDictionary(), "accepted", Kind::kArray, kOwner, error);
  if (list == nullptr) return std::nullopt;
  AcceptedRevisions accepted;
  for (const Value& value : *list->ifArray()) {
    std::optional<AcceptedRevision> kept = acceptedFrom(value, accepted.size(), error);
    if (!kept) return std::nullopt;
    if (find(accepted, kept->role, kept->product) != nullptr) {
      error = "\"accepted\" has " + quotedText(kept->product) + " twice";
      return std::nullopt;
    }
    accepted.push_back(std::move(*kept));
  }
  return accepted;
}

std::optional<AcceptedRevisions> TrustState::read(std::string& error) const {
  const FileDescriptor file(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
  if (file.number() < 0) {
    if (errno == ENOENT) return AcceptedRevisions();
    error = errno == ELOOP ? "is a symbolic link" : systemReason();
    return std::nullopt;
  }
  if (!checkOwner(file.number(), error)) return std::nullopt;
  const std::optional<WipedBytes> bytes = readOpenFile(file.number(), "trust state", error);
  if (!bytes) return std::nullopt;
  std::optional<AcceptedRevisions> accepted = readAccepted(bytes->text(), error);
  if (!accepted) error.insert(0, "is damaged: ");
  return accepted;
}

bool TrustState::write(const AcceptedRevisions& accepted, std::string& error) const {
  const std::string text = textOf(accepted);
  if (text.size() > kMostBytes) {
    error = "has too many products; it is limited to 1 MiB";
    return false;
  }
  const std::string pending = path_ + ".new";  // of the process that holds the lock
  unlink(pending.c_str());
  const FileDescriptor file(open(pending.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  const OpenFolder folder(path_);
  const bool written = file.number() >= 0 && writeAll(file.number(), text) && fsync(file.number()) == 0 &&
                       rename(pending.c_str(), path_.c_str()) == 0;
  const bool durable = written && (fsync(folder.file.number()) == 0 || errno == EINVAL);  // some file systems cannot
  if (!durable) {
    error = "cannot be written: " + systemReason();
    return false;
  }
  return true;
}

bool TrustState::acceptsUnderLock(const Statement& statement, int lock, Refusal& refusal, std::string& warning) const {
  // Most documents are not new, and many processes may read at once.
  for (const int mode : {LOCK_SH, LOCK_EX}) {
    if (lock >= 0 && !lockFile(lock, mode)) {
      refusal = {"cannot be locked: " + systemReason(), true};
      return false;
    }
    std::optional<AcceptedRevisions> accepted = read(refusal.why);
    if (!accepted) {
      refusal.stationIsToBlame = true;
      return false;
    }
    const Date now = systemTime();
    warning = clockWarning(*accepted, now);
    AcceptedRevision* const kept = find(*accepted, statement.role, statement.product);
    if (kept != nullptr && statement.revision < kept->revision) {
      refusal = {whyOlder(statement, *kept), false};
      return false;
    }
    if (lock < 0 || (kept != nullptr && statement.revision == kept->revision)) return true;
    if (mode == LOCK_SH) continue;
    const AcceptedRevision added{statement.role, statement.product, statement.revision, now};
    if (kept != nullptr) {
      *kept = added;
    } else {
      accepted->push_back(added);
    }
    refusal.stationIsToBlame = !write(*accepted, refusal.why);
  }
  return !refusal.stationIsToBlame;
}

bool TrustState::accepts(const Statement& statement, bool remember, Refusal& refusal, std::string& warning) const {
  const bool accepted = [&] {
    refusal.stationIsToBlame = !OpenFolder(path_).check(refusal.why);
    if (refusal.stationIsToBlame) return false;
    if (!remember) return acceptsUnderLock(statement, -1, refusal, warning);
    const FileDescriptor lock(open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (lock.number() < 0) {
      refusal = {"cannot be locked: " + systemReason(), true};
      return false;
    }
    refusal.stationIsToBlame = !checkOwner(lock.number(), refusal.why);  // another user could hold the lock forever
    if (refusal.stationIsToBlame) {
      refusal.why.insert(0, "its lock file: ");
      return false;
    }
    return acceptsUnderLock(statement, lock.number(), refusal, warning);
  }();
  if (refusal.stationIsToBlame) refusal.why.insert(0, "trust state file \"" + path_ + "\": ");
  return accepted;
}

}  // namespace tavik
