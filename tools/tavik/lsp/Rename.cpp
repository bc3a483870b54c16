// Renames a rule or a rule set in all documents of the project.

#include <fmt/format.h>

#include <algorithm>

#include "lint/Document.h"
#include "lint/LocalRules.h"
#include "lsp/Feature.h"
#include "rules/RuleFacts.h"
#include "text/Text.h"

namespace tavik::tool::lsp {
namespace {

/// Rejects names that would change what the documents mean, or that one of them cannot contain.
void requireUsable(const Name& old, const std::string& name) {
  constexpr std::size_t kLongest = 200;
  const auto require = [](bool condition, const char* why) {
    if (!condition) throw RequestFailed(why);
  };
  require(!name.empty(), "the new name is empty");
  require(name.size() <= kLongest, "the new name is longer than 200 bytes");
  require(visible(name) == name, "the new name contains control characters");
  require(!name.starts_with('$'), "a name must not begin with \"$\": JSON uses it for other kinds of values");
  require(namesSet(name) == namesSet(old.text), "the names of rule sets, and only those, end in \"RuleSet\"");
  require(name != "version" && name != lint::kRegionRules,
          "the name has another meaning in rule documents; choose another");
  require(requiresAbsence(name) == requiresAbsence(old.text),
          "a name that begins with \"No Attribute\" makes a rule that requires the attribute to be missing");
}

const Name& nameToRename(const Query& query) {
  const Name* const name = query.document.nameAt(query.offset());
  if (name == nullptr || (name->kind != NameKind::kRule && name->kind != NameKind::kRuleSet)) {
    throw RequestFailed("only rules and rule sets can be renamed");
  }
  return *name;
}

}  // namespace

Result prepareRename(const Query& query) {
  const Name& name = nameToRename(query);
  return Json{{"range", rangeOf(query.document, name.token.content)}, {"placeholder", name.text}};
}

Result rename(const Query& query) {
  const Name& old = nameToRename(query);
  const auto& newName = query.params.at("newName").get_ref<const std::string&>();
  requireUsable(old, newName);
  if (!query.project.problems.empty()) throw RequestFailed(query.project.problems.front());
  Name other = old;
  other.text = newName;
  Json changes = Json::object();
  for (const SourceDocument* document : query.project.all()) {
    const std::vector<const Name*> same = sameNames(*document, old);
    const std::string file = document->path().empty() ? document->uri() : document->path();
    if (!document->isReadable()) throw RequestFailed(fmt::format("{}: fix the syntax error first", visible(file)));
    if (!sameNames(*document, other).empty()) {
      throw RequestFailed(fmt::format("{}: already contains the name {}; choose another", visible(file),
                                      lint::shown(std::string_view(newName))));
    }
    if (same.empty()) continue;
    if (document->isOpaque())
      throw RequestFailed(
          fmt::format("{}: is signed or binary and cannot be changed; name its unsigned source in tavik-workspace.json",
                      visible(file)));
    for (const Name* name : same) {
      const auto [span, text] = document->outline().replacement(name->token, newName, name->isKey);
      changes[document->uri()].push_back({{"range", rangeOf(*document, span)}, {"newText", text}});
    }
  }
  return Json{{"changes", changes}};
}

}  // namespace tavik::tool::lsp
