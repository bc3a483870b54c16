// Trust policies, statements and the state file: acceptance and error messages.

#include <sys/stat.h>
#include <tavik/Capture.h>
#include <tavik/StationPlatform.h>
#include <tavik/tavik_platform.h>

#include <thread>

#include "CHandles.h"
#include "support/Cases.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

constexpr std::string_view kRules = "<plist version=\"1.0\"><dict><key>version</key><string>7</string></dict></plist>";
const Date kPast = dateFromIsoText("2026-01-02T03:04:05Z").value();
const Date kFuture = dateFromIsoText("9000-01-01T00:00:00Z").value();

Statement library(std::int64_t revision, std::optional<Date> expires = std::nullopt) {
  return {DocumentRole::kLibrary, "Heron", revision, expires};
}

/// A folder with the keys "office", "lead" and "other"; policies do not contain "other".
class TrustPolicyTest : public testing::Test {
 protected:
  TrustPolicyTest() {
    for (const std::string key : {"office", "lead", "other"}) {
      std::string error;
      const KeyPair pair = generateKeyPair(KeyAlgorithm::kEd25519, error).value();
      write(key + ".key", pair.privateKey);
      write(key + ".pem", pair.publicKey);
    }
  }

  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path(name); }
  std::string write(const std::string& name, std::string_view text) const {  // NOLINT(modernize-use-nodiscard)
    folder_.write(name, text);
    chmod(path(name).c_str(), 0600);
    return path(name);
  }

  [[nodiscard]] TrustPolicy policy(std::size_t threshold) const {
    TrustPolicy policy;
    policy.keys = {{"rule office", path("office.pem")}, {"line lead", path("lead.pem")}};
    policy.threshold = threshold;
    return policy;
  }

  [[nodiscard]] Dictionary signedBy(const std::vector<std::string>& keys,
                                    const std::optional<Statement>& statement = std::nullopt) const {
    std::string error;
    const std::string first = path(keys.front() + ".key");
    std::optional<Dictionary> document = statement ? signStatement(dataOf(kRules), *statement, first, error)
                                                   : signPropertyList(dataOf(kRules), first, error);
    for (std::size_t i = 1; i < keys.size() && document; ++i) {
      document = addSignature(*document, path(keys[i] + ".key"), error);
    }
    EXPECT_TRUE(document) << error;
    return document.value_or(Dictionary());
  }

  /// The reason for a rejection without the folder's path; empty if the document is accepted.
  [[nodiscard]] std::string refusal(const TrustPolicy& policy, const Dictionary& document,
                                    std::optional<DocumentRole> role = DocumentRole::kLibrary) const {
    const StationPlatform platform(policy, StationPlatform::Log::kNone);
    const ValidatedDocument first = platform.validate(document, "", role);
    EXPECT_NE(first.content.has_value(), first.errorDescription.has_value());
    EXPECT_EQ(platform.validate(document, "", role).errorDescription, first.errorDescription) << "from the cache";
    return folder_.removedFrom(first.errorDescription.value_or(""));
  }

  TemporaryFolder folder_;
};

TEST_F(TrustPolicyTest, PolicyFiles) {
  std::ifstream office(path("office.pem"));
  const std::string key(std::istreambuf_iterator<char>(office), {});
  write("two.pem", key + key);
  for (const Case& c : casesIn("trust-policies-refused.json")) {
    std::string error;
    EXPECT_FALSE(TrustPolicy::read(write("policy.json", c["text"]), error));
    EXPECT_THAT(folder_.removedFrom(error), testing::StartsWith("trust policy \"policy.json\": "));
    EXPECT_THAT(folder_.removedFrom(error), testing::HasSubstr(c["error"])) << c["text"];
  }
  write("policy.json", R"({"keys": [{"name": "a", "file": "office.pem"}, {"name": "b", "file": "lead.pem"}],
                           "threshold": 2, "product": "Heron", "require_statement": true, "state": "s.json"})");
  std::string error;
  const std::optional<TrustPolicy> read = TrustPolicy::read(path("policy.json"), error);
  ASSERT_TRUE(read) << error;
  EXPECT_EQ(read->keys[1].file, path("lead.pem"));
  EXPECT_EQ(read->threshold, 2U);
  EXPECT_EQ(read->product, "Heron");
  EXPECT_TRUE(read->requireStatement);
  EXPECT_EQ(read->state, path("s.json"));
}

// tests/cli/policy_test.py has the attacks and the provenance.
TEST_F(TrustPolicyTest, SignaturesAndExpiry) {
  const Dictionary expired = signedBy({"office"}, library(3, kPast));
  EXPECT_EQ(refusal(policy(1), signedBy({"other", "lead"}), DocumentRole::kLocalRules), "");
  EXPECT_THAT(refusal(policy(1), signedBy({"other"})),
              testing::StartsWith("0 of 1 required signatures: no signature is valid for a key of the trust policy"));
  EXPECT_EQ(refusal(policy(2), signedBy({"lead"})), "1 of 2 required signatures: \"line lead\"");
  EXPECT_EQ(refusal(policy(1), signedBy({"office"}, library(3, kFuture))), "");
  EXPECT_THAT(refusal(policy(1), expired),
              testing::StartsWith("expired on 2026-01-02T03:04:05Z; the system clock says 20"));
  TrustPolicy replay = policy(1);
  replay.time = kPast;
  EXPECT_THAT(refusal(replay, expired), testing::HasSubstr("the document was used on 2026-01-02T03:04:05Z"));
  replay.time = Date::sinceEpoch(kPast.secondsSinceEpoch() - 1);
  EXPECT_EQ(refusal(replay, expired), "");
}

TEST_F(TrustPolicyTest, PlatformsInC) {
  write("policy.json", R"({"keys": [{"name": "a", "file": "office.pem"}], "state": "state.json"})");
  write("malformed.json", "{}");
  std::string why;
  const Data document = writePropertyList(signedBy({"office"}, library(1)), PropertyListFormat::kBinary, why).value();
  write("library.signed", std::string(document.bytes().begin(), document.bytes().end()));
  struct Case {
    std::string policy;
    std::int32_t remember, log;
    tavik_status status;
    std::string error;
  };
  for (const Case& each :
       {Case{"policy.json", 0, TAVIK_LOG_NONE, TAVIK_OK, ""}, Case{"policy.json", 1, TAVIK_LOG_NONE, TAVIK_OK, ""},
        Case{"policy.json", 2, TAVIK_LOG_NONE, TAVIK_BAD_ARGUMENT, ""},
        Case{"policy.json", 1, 7, TAVIK_BAD_ARGUMENT, ""},
        Case{"malformed.json", 1, TAVIK_LOG_NONE, TAVIK_REFUSED,
             "trust policy \"malformed.json\": the policy has no \"keys\""}}) {
    c::OwnedPlatform platform;
    c::OwnedKernel kernel;
    c::OwnedError error;
    EXPECT_EQ(tavik_station_platform_new_with_policy(path(each.policy).c_str(), each.remember, each.log, platform.out(),
                                                     error.out()),
              each.status);
    EXPECT_EQ(platform != nullptr, each.status == TAVIK_OK);
    EXPECT_EQ(folder_.removedFrom(tavik_error_text(error)), each.error);
    if (platform == nullptr) continue;
    c::done(tavik_kernel_new(path("library.signed").c_str(), platform, kernel.out(), nullptr));
    EXPECT_EQ(std::filesystem::exists(path("state.json")), each.remember == 1);
  }
  tavik_platform* platform = nullptr;
  EXPECT_EQ(tavik_station_platform_new_with_policy(nullptr, 0, 0, &platform, nullptr), TAVIK_NULL_ARGUMENT);
  EXPECT_EQ(tavik_station_platform_new_with_policy("policy.json", 0, 0, nullptr, nullptr), TAVIK_NULL_ARGUMENT);
}

TEST_F(TrustPolicyTest, InvalidStatements) {
  std::string error;
  for (const Case& c : casesIn("statements-refused.json")) {
    Dictionary statement{
        {"role", "library"}, {"product", "Heron"}, {"revision", Value(1)}, {"document", Dictionary{{"version", "7"}}}};
    statement.erase(c["without"]);
    if (const Dictionary* entries = c.entries.findDictionary("set")) statement.setAll(*entries);
    Dictionary envelope = signedBy({"office"}, library(1));
    envelope.set("payload", writePropertyList(statement, PropertyListFormat::kXml, error).value());
    EXPECT_FALSE(addSignature(envelope, path("lead.key"), error));  // parses the payload
    EXPECT_THAT(error, testing::HasSubstr(c["error"]));
  }
}

TEST_F(TrustPolicyTest, OlderRevisions) {
  TrustPolicy keeping = policy(1);
  keeping.state = path("state.json");
  TrustPolicy reading = keeping;
  reading.remember = false;
  EXPECT_EQ(refusal(reading, signedBy({"office"}, library(9))), "");
  EXPECT_FALSE(std::filesystem::exists(path("state.json")));
  EXPECT_EQ(refusal(keeping, signedBy({"office"}, library(11))), "");
  EXPECT_EQ(refusal(keeping, signedBy({"office"}, library(12))), "");
  EXPECT_THAT(refusal(reading, signedBy({"office"}, library(11))), testing::StartsWith("revision 11 is older than"));
  EXPECT_EQ(refusal(reading, signedBy({"office"}, library(13))), "");
  EXPECT_EQ(refusal(keeping, signedBy({"office"}, library(12))), "");
  for (const Statement& other : {Statement{DocumentRole::kLibrary, "Egret", 1, std::nullopt},
                                 Statement{DocumentRole::kLocalRules, "Heron", 1, std::nullopt}}) {
    EXPECT_EQ(refusal(keeping, signedBy({"office"}, other), other.role), "");
  }
  EXPECT_EQ(refusal(keeping, signedBy({"office"})), "");
  EXPECT_EQ(std::filesystem::status(path("state.json")).permissions(), std::filesystem::perms(0600));
}

TEST_F(TrustPolicyTest, InvalidStateFiles) {
  TrustPolicy keeping = policy(1);
  keeping.state = path("state.json");
  const Dictionary document = signedBy({"office"}, library(5));
  const std::string kept =
      R"({"role": "library", "product": "Heron", "revision": 5, "date": {"$date": "2026-01-01T00:00:00Z"}})";
  const auto accepted = [](const std::string& entries) { return "{\"accepted\": [" + entries + "]}"; };
  const auto replaced = [&](std::string_view from, std::string_view to) {
    return accepted(std::string(kept).replace(kept.find(from), from.size(), to));
  };
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "empty"},
      {"[]", "is damaged: the trust state is an array"},
      {"{}", "has no \"accepted\""},
      {R"({"accepted": [], "more": 1})", "unknown key \"more\""},
      {accepted("1"), "\"accepted\"[0] is a number"},
      {accepted(kept + "," + kept), "\"Heron\" twice"},
      {replaced("library", "x"), "\"role\" of \"accepted\"[0] is invalid"},
      {replaced("5", "0"), "\"revision\" of \"accepted\"[0] is invalid"},
  };
  for (const auto& [text, expected] : cases) {
    write("state.json", text);
    EXPECT_THAT(refusal(keeping, document), testing::StartsWith("trust state file \"state.json\": "));
    EXPECT_THAT(refusal(keeping, document), testing::HasSubstr(expected));
    EXPECT_TRUE(StationPlatform(keeping).validate(document, "", std::nullopt).stationIsToBlame);
  }
  write("state.json", accepted(kept));
  EXPECT_EQ(refusal(keeping, document), "");
  for (const auto& [name, mode, why] : {std::tuple("state.json", 0600, ": other users can write it"),
                                        std::tuple("state.json.lock", 0600, "its lock file: other users can write it"),
                                        std::tuple("", 0700, "its folder: other users can write it")}) {
    chmod(path(name).c_str(), static_cast<mode_t>(mode | 0020));
    EXPECT_THAT(refusal(keeping, document), testing::HasSubstr(why));
    chmod(path(name).c_str(), static_cast<mode_t>(mode));
  }
}

TEST_F(TrustPolicyTest, CapturesContainTheTimeOfValidation) {
  TrustPolicy policy = this->policy(1);
  policy.time = Date::sinceEpoch(kPast.secondsSinceEpoch() - 1);  // the kernel is used after its library has expired
  const Dictionary document = signedBy({"office"}, library(1, kPast));
  const Dictionary rules = signedBy({"lead"}, Statement{DocumentRole::kLocalRules, "Heron", 2, std::nullopt});
  Reason why;
  const auto kernel =
      ZRTTavikKernel::init(document, std::make_shared<StationPlatform>(policy, StationPlatform::Log::kNone), why);
  ASSERT_TRUE(kernel) << why.text();
  const Dictionary device{{"ModelNumber", "MD1"}, {"Raw", Data{0, 1}}, {"Count", Value(2.0)}};
  const CheckOutcome outcome = kernel->prepare(&rules)->run(device);
  std::string error;
  const std::optional<std::string> text = Capture::of(outcome, device, {}).write(error);
  const std::optional<Capture> capture = Capture::read(text.value(), error);
  ASSERT_TRUE(capture) << error;
  EXPECT_EQ(capture->validated, *policy.time);
  EXPECT_GT(capture->time.secondsSinceEpoch(), kPast.secondsSinceEpoch());
  EXPECT_EQ(capture->attributes, device);
  EXPECT_EQ(capture->library, document);
  EXPECT_EQ(capture->rules, rules);
  EXPECT_EQ(capture->result, resultDictionary(outcome));
  EXPECT_EQ(outcome.provenance->rules.keys, std::vector<std::string>{"line lead"});
}

TEST_F(TrustPolicyTest, ThreadsNeverLowerTheState) {
  constexpr int kRevisions = 12;
  TrustPolicy keeping = policy(1);
  keeping.state = path("state.json");
  std::vector<Dictionary> documents;
  for (int i = 1; i <= kRevisions; ++i) {
    documents.push_back(signedBy({"office"}, library(i)));
  }
  {
    std::vector<std::jthread> threads;
    for (int first = 0; first < 4; ++first) {
      threads.emplace_back([&, first] {
        const StationPlatform platform(keeping, StationPlatform::Log::kNone);
        std::int64_t highest = 0;
        for (int i = 0; i < kRevisions; ++i) {
          const int revision = (i * 5 + first * 3) % kRevisions + 1;
          const auto& document = documents[static_cast<std::size_t>(revision - 1)];
          const bool accepted = !platform.validate(document, "", std::nullopt).errorDescription;
          EXPECT_TRUE(!accepted || revision >= highest);
          if (accepted) highest = revision;
        }
      });
    }
  }
  EXPECT_EQ(refusal(keeping, documents.back()), "");
  EXPECT_THAT(refusal(keeping, documents[kRevisions - 2]), testing::HasSubstr("older than revision 12"));
}

}  // namespace
}  // namespace tavik
