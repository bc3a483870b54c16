// consumer LIBRARY RULES PUBLIC_KEY: checks a fixed device and prints the records. The exit status is the number of
// failed records.

#include <tavik/StationPlatform.h>
#include <tavik/TavikKernel.h>

#include <iostream>

int main(int argc, char** argv) {
  using namespace tavik;
  if (argc != 4) return 99;
  auto platform = std::make_shared<StationPlatform>(argv[3], StationPlatform::Log::kNone);
  auto kernel = ZRTTavikKernel::init(argv[1], platform);
  std::string why;
  const auto rules = readPropertyListFile(argv[2], why);
  if (!kernel || !rules) return 98;

  Dictionary device{{"ModelNumber", "MX101"}, {"RegionInfo", "LL/A"}};
  std::optional<Error> error;
  const auto records = kernel->check(device, rules->ifDictionary(), nullptr, error);
  if (!records) return 97;
  int failed = 0;
  for (const Value& record : *records) {
    const Dictionary& entries = *record.ifDictionary();
    const bool passed = booleanValue(entries.find("result"));
    failed += passed ? 0 : 1;
    std::cout << (passed ? "pass " : "FAIL ") << description(entries.find("rule")) << ": "
              << description(entries.find("actual")) << '\n';
  }
  return failed;
}
