// The origin of rule documents as values.

#include <tavik/Provenance.h>
#include <tavik/TavikKernelVersion.h>

namespace tavik {

std::string_view wordOf(DocumentRole role) noexcept {
  return role == DocumentRole::kLibrary ? "library" : "local-rules";
}

Dictionary DocumentProvenance::dictionary() const {
  Dictionary entries;
  if (version) entries.set("version", *version);
  if (!sha256.empty()) entries.set("sha256", sha256);
  Array names;
  for (const std::string& key : keys) names.append(key);
  if (!names.empty()) entries.set("keys", std::move(names));
  if (statement) {
    entries.set("product", statement->product);
    entries.set("revision", Value(statement->revision));
    if (statement->expires) entries.set("expires", *statement->expires);
  }
  if (!warning.empty()) entries.set("warning", warning);
  return entries;
}

Dictionary Provenance::dictionary() const {
  const Value kernel(TavikKernelVersionNumber);
  return {{"kernel", description(&kernel)},
          {"signatures", verified() ? "verified" : "not verified"},
          {"library", library.dictionary()},
          {"rules", rules.dictionary()}};
}

}  // namespace tavik
