// Statements, trust policies, state files and captures. The first byte selects one of them; the rest is its text. A
// rejection must have a reason. What is accepted must have the effect that the format promises.

#include <sys/stat.h>
#include <tavik/Capture.h>
#include <tavik/PropertyList.h>
#include <tavik/StationPlatform.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Choices.h"

namespace {

using namespace tavik;

void require(bool condition) {
  if (!condition) std::abort();
}

// A station's folder: two keys, and the file under test.
class Station {
 public:
  Station() {
    std::string name = (std::filesystem::temp_directory_path() / "tavik-fuzz-XXXXXX").string();
    require(mkdtemp(name.data()) != nullptr);
    folder_ = name;
    for (const char* key : {"a", "b"}) {
      std::string error;
      const KeyPair pair = generateKeyPair(KeyAlgorithm::kEd25519, error).value();
      write(std::string(key) + ".key", pair.privateKey);
      write(std::string(key) + ".pem", pair.publicKey);
    }
  }
  Station(const Station&) = delete;
  Station& operator=(const Station&) = delete;
  ~Station() { std::filesystem::remove_all(folder_); }

  [[nodiscard]] std::string path(const std::string& name) const { return (folder_ / name).string(); }
  void write(const std::string& name, std::string_view text) const {
    std::ofstream(path(name), std::ios::binary) << text;
    chmod(path(name).c_str(), 0600);
  }
  [[nodiscard]] TrustPolicy policy() const {
    TrustPolicy policy;
    policy.keys = {{"a", path("a.pem")}};
    policy.state = path("state.json");
    return policy;
  }
  [[nodiscard]] Dictionary revision(std::int64_t number) const {
    const std::string_view rules = "{ version = 1; }";
    const Data document(std::span(reinterpret_cast<const std::uint8_t*>(rules.data()), rules.size()));
    std::string error;
    return signStatement(document, {DocumentRole::kLibrary, "p", number, std::nullopt}, path("a.key"), error).value();
  }

 private:
  std::filesystem::path folder_;
};

std::optional<std::string> refusal(const TrustPolicy& policy, const Dictionary& document) {
  const StationPlatform platform(policy, StationPlatform::Log::kNone);
  const ValidatedDocument validated = platform.validate(document, "", DocumentRole::kLibrary);
  require(validated.content.has_value() != validated.errorDescription.has_value());
  require(!validated.errorDescription || !validated.errorDescription->empty());
  return validated.errorDescription;
}

// A payload gets another signature only if it is a statement; then it is trusted in its role until it expires.
void tryStatement(const Station& station, std::string_view text) {
  Dictionary envelope = station.revision(1);
  const Data payload(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
  envelope.set("payload", payload);
  std::string error;
  const std::optional<Dictionary> both = addSignature(envelope, station.path("a.key"), error);
  require(both.has_value() == error.empty());
  if (!both) return;
  TrustPolicy policy = station.policy();
  policy.state.reset();
  policy.time = Date::sinceEpoch(-1e12);
  const StationPlatform platform(policy, StationPlatform::Log::kNone);
  const ValidatedDocument validated = platform.validate(*both, "", std::nullopt);
  const std::optional<Value> content = readPropertyList(payload.bytes(), error);
  const Statement statement = validated.provenance.statement.value_or(Statement());
  if (validated.errorDescription) return require(content->ifDictionary()->contains("expires"));
  require(exact::text(*validated.content) == exact::text(*content->ifDictionary()->find("document")));
  require(content->ifDictionary()->findString("role") == wordOf(statement.role) && statement.revision >= 1);
}

void tryPolicy(const Station& station, std::string_view text) {
  station.write("policy.json", text);
  std::string error;
  const std::optional<TrustPolicy> policy = TrustPolicy::read(station.path("policy.json"), error);
  require(policy.has_value() || error.starts_with("trust policy \""));
  if (!policy) return;
  require(policy->threshold >= 1 && policy->threshold <= policy->keys.size() && policy->keys.size() <= 2);
}

// A state that is accepted never forgets a revision.
void tryState(const Station& station, std::string_view text) {
  station.write("state.json", text);
  const std::optional<std::string> first = refusal(station.policy(), station.revision(5));
  if (first) return require(refusal(station.policy(), station.revision(4)).has_value());
  require(!refusal(station.policy(), station.revision(5)));
  require(refusal(station.policy(), station.revision(4)).value().starts_with("revision 4 is older than revision 5"));
}

void tryCapture(std::string_view text) {
  std::string error;
  const std::optional<Capture> capture = Capture::read(text, error);
  require(capture.has_value() || !error.empty());
  if (!capture) return;
  const std::optional<std::string> once = capture->write(error);
  require(once.has_value());
  require(Capture::read(*once, error).value().write(error) == once);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Station station;
  if (size == 0) return 0;
  const std::string text(data + 1, data + size);  // a separate block of exactly this size
  switch (*data) {
    case 's':
      tryStatement(station, text);
      break;
    case 'p':
      tryPolicy(station, text);
      break;
    case 't':
      tryState(station, text);
      break;
    default:
      tryCapture(text);
  }
  return 0;
}
