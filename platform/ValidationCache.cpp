#include "ValidationCache.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace tavik {
namespace {

std::size_t bytesIn(const Envelope& envelope) {
  std::size_t bytes = envelope.payload.size();
  for (const Signature& signature : envelope.signatures) bytes += signature.bytes.size() + signature.keyId.size();
  return bytes;
}

}  // namespace

std::optional<SignedContent> ValidationCache::find(const Envelope& envelope, const KeyFiles& keyFiles) {
  const std::lock_guard lock(mutex_);
  const auto verdict = std::ranges::find_if(verdicts_, [&](const Verdict& kept) {
    return std::ranges::equal(kept.keyFiles, keyFiles, {}, &WipedBytes::text, &WipedBytes::text) &&
           kept.envelope == envelope;
  });
  if (verdict == verdicts_.end()) return std::nullopt;
  verdicts_.splice(verdicts_.begin(), verdicts_, verdict);
  return verdict->content;
}

void ValidationCache::keep(const Envelope& envelope, const KeyFiles& keyFiles, const SignedContent& content) {
  std::size_t bytes = bytesIn(envelope);
  KeyFiles files;
  for (const WipedBytes& file : keyFiles) {
    bytes += file.span().size();
    files.emplace_back(file.span());
  }
  if (bytes > kMostBytes) return;
  std::list<Verdict> added;
  std::list<Verdict> dropped;  // destroyed after the mutex is released
  added.push_back({envelope, std::move(files), content, bytes});

  const std::lock_guard lock(mutex_);
  verdicts_.splice(verdicts_.begin(), added);
  bytes_ += bytes;
  while (verdicts_.size() > kMostVerdicts || bytes_ > kMostBytes) {
    bytes_ -= verdicts_.back().bytes;
    dropped.splice(dropped.end(), verdicts_, std::prev(verdicts_.end()));
  }
}

}  // namespace tavik
