#include "rules/RuleReloader.h"

#include <sys/stat.h>
#include <tavik/TrustPolicy.h>

#include <chrono>
#include <exception>
#include <utility>

namespace tavik::station {
namespace {

constexpr std::chrono::seconds kInterval{1};

/// The documents, and the files that decide whether they are trusted.
std::vector<std::string> watchedFiles(const RuleFiles& files) {
  std::vector<std::string> paths = files.rules;
  paths.push_back(files.library);
  if (files.platform.publicKey) paths.push_back(*files.platform.publicKey);
  if (!files.platform.trust) return paths;
  paths.push_back(*files.platform.trust);
  std::string error;
  const std::optional<TrustPolicy> policy = TrustPolicy::read(*files.platform.trust, error);
  if (!policy) return paths;
  for (const TrustPolicy::Key& key : policy->keys) paths.push_back(key.file);
  return paths;
}

}  // namespace

RuleReloader::RuleReloader(RuleFiles files) : files_(std::move(files)), seen_(states()) {
  status_.rules = std::make_shared<const LoadedRules>(files_);
}

std::jthread RuleReloader::watch(std::function<void(const Status&)> changed) {
  return std::jthread([this, changed = std::move(changed)](const std::stop_token& stop) { run(stop, changed); });
}

void RuleReloader::reload() {
  {
    const std::lock_guard lock(mutex_);
    reloads_ = true;
  }
  wake_.notify_one();
}

RuleReloader::Status RuleReloader::status() const {
  const std::lock_guard lock(mutex_);
  return status_;
}

std::vector<RuleReloader::FileState> RuleReloader::states() const {
  std::vector<FileState> states;
  for (const std::string& path : watchedFiles(files_)) {
    struct stat status {};
    stat(path.c_str(), &status);  // a missing file is a state too
    states.emplace_back(status.st_ctim.tv_sec, status.st_ctim.tv_nsec, status.st_ino, status.st_size);
  }
  return states;
}

void RuleReloader::run(const std::stop_token& stop, const std::function<void(const Status&)>& changed) {
  while (true) {
    bool isRequested = false;
    {
      std::unique_lock lock(mutex_);
      wake_.wait_for(lock, stop, kInterval, [&] { return reloads_; });
      if (stop.stop_requested()) return;
      isRequested = std::exchange(reloads_, false);
    }
    std::vector<FileState> found = states();
    if (found == seen_ && !isRequested) continue;
    seen_ = std::move(found);
    if (tryToLoad()) changed(status());
  }
}

/// Whether the documents were accepted, or rejected for another reason than the last time.
bool RuleReloader::tryToLoad() {
  std::shared_ptr<const LoadedRules> loaded;
  std::string reason;
  try {
    loaded = std::make_shared<const LoadedRules>(files_);
  } catch (const std::exception& failure) {
    reason = failure.what();
  }
  const std::lock_guard lock(mutex_);
  if (loaded) {
    status_.rules = std::move(loaded);
    status_.rejection.reset();
    return true;
  }
  ++status_.rejections;
  const bool isNew = !status_.rejection || status_.rejection->reason != reason;
  status_.rejection = {now(), std::move(reason)};
  return isNew;
}

}  // namespace tavik::station
