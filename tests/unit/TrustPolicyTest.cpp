// Trust policies, statements and the state file: acceptance and error messages.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <tavik/Capture.h>
#include <tavik/PropertyList.h>
#include <tavik/StationPlatform.h>
#include <tavik/ZRTTavikKernel.h>
#include <tavik/tavik_platform.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace tavik {
namespace {

constexpr std::string_view kRules = "<plist version=\"1.0\"><dict><key>version</key><string>7</string></dict></plist>";
const Date kPast = dateFromIsoText("2026-01-02T03:04:05Z").value();
const Date kFuture = dateFromIsoText("9000-01-01T00:00:00Z").value();

Data dataOf(std::string_view bytes) {
  return Data(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

std::string written(const Dictionary& document) {
  std::string error;
  const Data bytes = writePropertyList(document, PropertyListFormat::kXml, error).value();
  return {bytes.bytes().begin(), bytes.bytes().end()};
}

/// A folder with the keys "office", "lead" and "other"; policies do not contain "other".
class TrustPolicyTest : public testing::Test {
 protected:
  TrustPolicyTest() {
    std::string name = (std::filesystem::temp_directory_path() / "tavik-trust-XXXXXX").string();
    folder_ = mkdtemp(name.data());
    for (const char* key : {"office", "lead", "other"}) {
      std::string error;
      const KeyPair pair = generateKeyPair(KeyAlgorithm::kEd25519, error).value();
      write(std::string(key) + ".key", pair.privateKey);
      write(std::string(key) + ".pem", pair.publicKey);
    }
  }
  ~TrustPolicyTest() override { std::filesystem::remove_all(folder_); }

  [[nodiscard]] std::string path(const std::string& name) const { return (folder_ / name).string(); }
  void write(const std::string& name, std::string_view text) const {
    std::ofstream(path(name), std::ios::binary) << text;
    chmod(path(name).c_str(), 0600);
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
    std::string first;
    for (int use = 0; use < 2; ++use) {  // the second time from the cache
      const ValidatedDocument validated = platform.validate(document, "", role);
      EXPECT_NE(validated.content.has_value(), validated.errorDescription.has_value());
      const std::string why = withoutFolder(validated.errorDescription.value_or(""));
      if (use == 0) first = why;
      EXPECT_EQ(why, first);
    }
    return first;
  }

  [[nodiscard]] std::string withoutFolder(std::string text) const {
    const std::string folder = path("");
    for (std::size_t at = 0; (at = text.find(folder)) != std::string::npos;) text.erase(at, folder.size());
    return text;
  }

  std::filesystem::path folder_;
};

TEST_F(TrustPolicyTest, PolicyFiles) {
  write("two.pem", [&] {
    std::ifstream office(path("office.pem"));
    std::ifstream lead(path("lead.pem"));
    return std::string(std::istreambuf_iterator<char>(office), {}) +
           std::string(std::istreambuf_iterator<char>(lead), {});
  }());
  const std::string key = R"({"name": "rule office", "file": "office.pem"})";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"[]", "the policy is an array, not a dictionary"},
      {"{", "line 1"},
      {"{}", "the policy has no \"keys\""},
      {R"({"keys": []})", "\"keys\" is empty"},
      {R"({"keys": {}})", "\"keys\" of the policy is a dictionary, not an array"},
      {R"({"keys": [)" + key + R"(, "office.pem"]})", "\"keys\"[1] is a string, not a dictionary"},
      {R"({"keys": [{"name": "a"}]})", "\"keys\"[0] has no \"file\""},
      {R"({"keys": [{"name": "", "file": "office.pem"}]})", "\"name\" of \"keys\"[0] is empty"},
      {R"({"keys": [{"name": "a", "file": "office.pem", "role": "x"}]})", "\"keys\"[0] has an unknown key \"role\""},
      {R"({"keys": [{"name": "a", "file": "missing.pem"}]})", "\"missing.pem\": No such file"},
      {R"({"keys": [{"name": "a", "file": "office.key"}]})", "is a private key"},
      {R"({"keys": [{"name": "a", "file": "two.pem"}]})", "\"two.pem\" of \"a\" contains 2 keys"},
      {R"({"keys": [)" + key + R"(, {"name": "again", "file": "office.pem"}]})",
       "\"rule office\" and \"again\" of \"keys\" are the same key"},
      {R"({"keys": [)" + key + R"(, {"name": "rule office", "file": "lead.pem"}]})",
       "\"keys\" has the name \"rule office\" twice"},
      {R"({"keys": [)" + key + R"(], "threshold": 0})", "\"threshold\" is 0, not a number from 1 to 1"},
      {R"({"keys": [)" + key + R"(], "threshold": 2})", "\"threshold\" is 2, not a number from 1 to 1"},
      {R"({"keys": [)" + key + R"(], "threshold": 1.5})", "\"threshold\" is not a positive integer"},
      {R"({"keys": [)" + key + R"(], "threshold": -1})", "\"threshold\" is not a positive integer"},
      {R"({"keys": [)" + key + R"(], "threshold": true})", "\"threshold\" of the policy is a boolean, not a number"},
      {R"({"keys": [)" + key + R"(], "product": ""})", "\"product\" is empty"},
      {R"({"keys": [)" + key + R"(], "requireStatement": true})", "unknown key \"requireStatement\""},
      {R"({"keys": [)" + key + R"(], "require_statement": 1})", "a number, not a boolean"},
      {R"({"keys": [)" + key + R"(], "state": 1})", "a number, not a string"},
      {R"({"keys": [)" + key + R"(], "state": "s\u0000t"})", "\"state\" contains a NUL character"},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(text);
    write("policy.json", text);
    std::string error;
    EXPECT_FALSE(TrustPolicy::read(path("policy.json"), error));
    EXPECT_THAT(withoutFolder(error), testing::StartsWith("trust policy \"policy.json\": "));
    EXPECT_THAT(withoutFolder(error), testing::HasSubstr(expected));
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

TEST_F(TrustPolicyTest, SignaturesStatementsAndRoles) {
  const auto statement = [](DocumentRole role, std::string product, std::optional<Date> expires = std::nullopt) {
    return Statement{role, std::move(product), 3, expires};
  };
  const Statement heron = statement(DocumentRole::kLibrary, "Heron");
  const auto with = [](Dictionary document, std::string_view key, Value value) {
    document.set(key, std::move(value));
    return document;
  };
  const auto withSignatures = [&](const Dictionary& document, auto change) {
    Array signatures = *document.findArray("signatures");
    change(signatures);
    return with(document, "signatures", signatures);
  };
  const auto twice = [](Array& signatures) { signatures.append(Value(signatures.at(0))); };
  const auto claimsLead = [&](Array& signatures) {
    const Dictionary lead = *signedBy({"lead"}).findArray("signatures")->at(0).ifDictionary();
    signatures.append(with(*signatures.at(0).ifDictionary(), "keyid", *lead.find("keyid")));
  };
  TrustPolicy strict = policy(2);
  strict.product = "Heron";
  strict.requireStatement = true;

  struct Case {
    TrustPolicy policy;
    Dictionary document;
    std::string refusal;
    DocumentRole role = DocumentRole::kLibrary;
  };
  const std::vector<Case> cases = {
      {policy(1), signedBy({"office"}), ""},
      {policy(1), signedBy({"lead"}), "", DocumentRole::kLocalRules},
      {policy(1), signedBy({"other", "lead"}), ""},
      {policy(1), signedBy({"other"}),
       "0 of 1 required signatures: no signature is valid for a key of the trust policy"},
      {policy(2), signedBy({"office", "lead"}), ""},
      {policy(2), signedBy({"lead"}), "1 of 2 required signatures: \"line lead\""},
      {policy(2), signedBy({"office", "other"}), "1 of 2 required signatures: \"rule office\""},
      {policy(2), withSignatures(signedBy({"office"}), twice), "1 of 2 required signatures: \"rule office\""},
      {policy(2), withSignatures(signedBy({"office"}), claimsLead), "1 of 2 required signatures: \"rule office\""},
      {policy(1), with(signedBy({"office"}), "payloadType", "application/vnd.tavik.statement+plist"),
       "0 of 1 required signatures: the signature names the key"},
      {policy(1), with(signedBy({"office"}, heron), "payloadType", "application/vnd.tavik.rules+plist"),
       "0 of 1 required signatures: the signature names the key"},
      {strict, signedBy({"office", "lead"}, heron), ""},
      {strict, signedBy({"office", "lead"}), "the policy requires a statement"},
      {strict, signedBy({"office", "lead"}, statement(DocumentRole::kLibrary, "Egret")),
       "product is \"Egret\", expected \"Heron\""},
      {strict, signedBy({"office", "lead"}, heron), "role is \"library\", expected \"local-rules\"",
       DocumentRole::kLocalRules},
      {policy(1), signedBy({"office"}, statement(DocumentRole::kLocalRules, "Heron")),
       "role is \"local-rules\", expected \"library\""},
      {policy(1), signedBy({"office"}, statement(DocumentRole::kLibrary, "Heron", kFuture)), ""},
      {policy(1), signedBy({"office"}, statement(DocumentRole::kLibrary, "Heron", kPast)),
       "expired on 2026-01-02T03:04:05Z; the system clock says 20"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.refusal + " " + description(each.document.find("payloadType")));
    const std::string why = refusal(each.policy, each.document, each.role);
    EXPECT_THAT(why, testing::StartsWith(each.refusal));
    EXPECT_EQ(why.empty(), each.refusal.empty());
  }

  TrustPolicy replay = policy(1);
  replay.time = kPast;
  const Dictionary expired = signedBy({"office"}, statement(DocumentRole::kLibrary, "Heron", kPast));
  EXPECT_THAT(refusal(replay, expired), testing::HasSubstr("the document was used on 2026-01-02T03:04:05Z"));
  replay.time = Date::sinceEpoch(kPast.secondsSinceEpoch() - 1);
  EXPECT_EQ(refusal(replay, expired), "");
}

TEST_F(TrustPolicyTest, Provenance) {
  const Statement statement{DocumentRole::kLibrary, "Heron", 12, kFuture};
  const Dictionary document = signedBy({"lead", "other", "office"}, statement);
  const ValidatedDocument validated = StationPlatform(policy(2)).validate(document, "", DocumentRole::kLibrary);
  ASSERT_FALSE(validated.errorDescription) << *validated.errorDescription;
  EXPECT_EQ(validated.content, Value(Dictionary{{"version", "7"}}));
  EXPECT_EQ(validated.provenance.keys, (std::vector<std::string>{"rule office", "line lead"}));
  EXPECT_EQ(validated.provenance.statement, statement);
  EXPECT_EQ(validated.provenance.sha256.size(), 64U);
}

TEST_F(TrustPolicyTest, PlatformsInC) {
  write("policy.json", R"({"keys": [{"name": "a", "file": "office.pem"}], "state": "state.json"})");
  write("malformed.json", "{}");
  write("library.signed", written(signedBy({"office"}, Statement{DocumentRole::kLibrary, "Heron", 1, std::nullopt})));
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
    tavik_platform* platform = nullptr;
    tavik_kernel* kernel = nullptr;
    tavik_error* error = nullptr;
    EXPECT_EQ(
        tavik_station_platform_new_with_policy(path(each.policy).c_str(), each.remember, each.log, &platform, &error),
        each.status);
    EXPECT_EQ(platform != nullptr, each.status == TAVIK_OK);
    EXPECT_EQ(withoutFolder(tavik_error_text(error)), each.error);
    if (platform != nullptr) {
      EXPECT_EQ(tavik_kernel_new(path("library.signed").c_str(), platform, &kernel, nullptr), TAVIK_OK);
      EXPECT_EQ(std::filesystem::exists(path("state.json")), each.remember == 1);
    }
    tavik_error_release(&error);
    tavik_kernel_release(&kernel);
    tavik_platform_release(&platform);
  }
  tavik_platform* platform = nullptr;
  EXPECT_EQ(tavik_station_platform_new_with_policy(nullptr, 0, 0, &platform, nullptr), TAVIK_NULL_ARGUMENT);
  EXPECT_EQ(tavik_station_platform_new_with_policy("policy.json", 0, 0, nullptr, nullptr), TAVIK_NULL_ARGUMENT);
}

TEST_F(TrustPolicyTest, InvalidStatements) {
  const Dictionary rules{{"version", "7"}};
  const Dictionary valid{{"role", "library"}, {"product", "Heron"}, {"revision", Value(1)}, {"document", rules}};
  const auto with = [&](std::string_view key, Value value) {
    Dictionary changed = valid;
    changed.set(key, std::move(value));
    return changed;
  };
  const auto without = [&](std::string_view key) {
    Dictionary changed = valid;
    changed.erase(key);
    return changed;
  };
  const std::vector<std::pair<Dictionary, std::string>> cases = {
      {without("role"), "has no \"role\""},
      {without("product"), "has no \"product\""},
      {without("revision"), "has no \"revision\""},
      {without("document"), "has no \"document\""},
      {with("role", "station"), "unknown role \"station\""},
      {with("product", ""), "\"product\" of the statement is empty"},
      {with("revision", Value(0)), "not an integer from 1"},
      {with("revision", Value(1.5)), "not an integer from 1"},
      {with("revision", "1"), "is a string, not a number"},
      {with("expires", "2027-01-01"), "is a string, not a date"},
      {with("document", Data{1}), "is data, not a dictionary"},
      {with("document", valid), "is a statement, not a rule document"},
      {with("document", signedBy({"office"})), "is a signed document, not a rule document"},
      {with("threshold", Value(1)), "unknown key \"threshold\""},
  };
  // addSignature parses the payload.
  for (const auto& [payload, expected] : cases) {
    std::string error;
    Dictionary envelope = signedBy({"office"}, Statement{DocumentRole::kLibrary, "Heron", 1, std::nullopt});
    envelope.set("payload", writePropertyList(payload, PropertyListFormat::kXml, error).value());
    EXPECT_FALSE(addSignature(envelope, path("lead.key"), error));
    EXPECT_THAT(error, testing::HasSubstr(expected));
  }
  std::string error;
  EXPECT_FALSE(addSignature(signedBy({"office"}), path("office.key"), error));
  EXPECT_EQ(error, "the document already has a signature by this key");
}

TEST_F(TrustPolicyTest, OlderRevisions) {
  const auto revision = [&](std::int64_t number, std::string product = "Heron",
                            DocumentRole role = DocumentRole::kLibrary) {
    return signedBy({"office"}, Statement{role, std::move(product), number, std::nullopt});
  };
  TrustPolicy keeping = policy(1);
  keeping.state = path("state.json");
  TrustPolicy reading = keeping;
  reading.remember = false;

  EXPECT_EQ(refusal(reading, revision(9)), "");
  EXPECT_FALSE(std::filesystem::exists(path("state.json")));
  EXPECT_EQ(refusal(keeping, revision(11)), "");
  EXPECT_EQ(refusal(keeping, revision(12)), "");
  for (const TrustPolicy& each : {keeping, reading}) {
    EXPECT_THAT(refusal(each, revision(11)),
                testing::MatchesRegex("revision 11 is older than revision 12, which this station accepted on "
                                      "20..-..-..T..:..:..Z"));
  }
  EXPECT_EQ(refusal(reading, revision(13)), "");
  EXPECT_EQ(refusal(keeping, revision(12)), "");
  EXPECT_EQ(refusal(keeping, revision(1, "Egret")), "");
  EXPECT_EQ(refusal(keeping, revision(1, "Heron", DocumentRole::kLocalRules), DocumentRole::kLocalRules), "");
  EXPECT_EQ(refusal(keeping, signedBy({"office"})), "");
  EXPECT_EQ(std::filesystem::status(path("state.json")).permissions(), std::filesystem::perms(0600));
}

TEST_F(TrustPolicyTest, InvalidStateFiles) {
  TrustPolicy keeping = policy(1);
  keeping.state = path("state.json");
  const Dictionary document = signedBy({"office"}, Statement{DocumentRole::kLibrary, "Heron", 5, std::nullopt});
  const std::string kept =
      R"({"role": "library", "product": "Heron", "revision": 5, "date": {"$date": "2026-01-01T00:00:00Z"}})";
  const auto accepted = [](const std::string& entries) { return "{\"accepted\": [" + entries + "]}"; };
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "empty"},
      {"{", "is damaged: line 1"},
      {"[]", "is damaged: the trust state is an array"},
      {"{}", "has no \"accepted\""},
      {R"({"accepted": [], "more": 1})", "unknown key \"more\""},
      {accepted("1"), "\"accepted\"[0] is a number"},
      {accepted(kept + "," + kept), "\"Heron\" twice"},
      {accepted(R"({"role": "x", "product": "Heron", "revision": 5, "date": {"$date": "2026-01-01T00:00:00Z"}})"),
       "\"role\" of \"accepted\"[0] is invalid"},
      {accepted(R"({"role": "library", "product": "Heron", "revision": 0, "date": {"$date": "2026-01-01T00:00:00Z"}})"),
       "\"revision\" of \"accepted\"[0] is invalid"},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(text);
    write("state.json", text);
    EXPECT_THAT(refusal(keeping, document), testing::StartsWith("trust state file \"state.json\": "));
    EXPECT_THAT(refusal(keeping, document), testing::HasSubstr(expected));
    EXPECT_TRUE(StationPlatform(keeping).validate(document, "", std::nullopt).stationIsToBlame);
  }
  write("state.json", accepted(kept));
  EXPECT_EQ(refusal(keeping, document), "");
  chmod(path("state.json").c_str(), 0620);
  EXPECT_THAT(refusal(keeping, document), testing::HasSubstr("other users can write it"));
  chmod(path("state.json").c_str(), 0600);
  chmod(path("state.json.lock").c_str(), 0620);
  EXPECT_THAT(refusal(keeping, document), testing::HasSubstr("its lock file: other users can write it"));
  chmod(path("state.json.lock").c_str(), 0600);
  chmod(folder_.c_str(), 0770);
  EXPECT_THAT(refusal(keeping, document), testing::HasSubstr("its folder: other users can write it"));
  chmod(folder_.c_str(), 0700);
  std::filesystem::rename(path("state.json"), path("elsewhere.json"));
  std::filesystem::create_symlink("elsewhere.json", path("state.json"));
  EXPECT_THAT(refusal(keeping, document), testing::HasSubstr("is a symbolic link"));
}

TEST_F(TrustPolicyTest, CapturesContainTheTimeOfValidation) {
  TrustPolicy policy = this->policy(1);
  policy.time = Date::sinceEpoch(kPast.secondsSinceEpoch() - 1);  // the kernel is used after its library has expired
  const Dictionary library = signedBy({"office"}, Statement{DocumentRole::kLibrary, "Heron", 1, kPast});
  const Dictionary rules = signedBy({"lead"}, Statement{DocumentRole::kLocalRules, "Heron", 2, std::nullopt});
  Reason why;
  const auto kernel =
      ZRTTavikKernel::init(library, std::make_shared<StationPlatform>(policy, StationPlatform::Log::kNone), why);
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
  EXPECT_EQ(capture->library, library);
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
    documents.push_back(signedBy({"office"}, Statement{DocumentRole::kLibrary, "Heron", i, std::nullopt}));
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
