#include "lint/ExampleDevices.h"

#include <tavik/DeviceLine.h>

#include <utility>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/LineReader.h"
#include "io/StopRequest.h"
#include "rules/HostPlatform.h"

namespace tavik::tool::lint {
namespace {

ExampleDevice exampleOf(const std::string& file, const Line& line) {
  DeviceLine device = DeviceLine::read(line.text, line.number);
  if (!line.whyCut.empty()) device = DeviceLine::unusable(line.text, line.number, line.whyCut);
  if (!device.inputError.empty()) throw Unusable(file + ": " + device.inputError);
  return {RuleEvaluator(silentKernel(), std::move(device.attributes), device.sources), device.sources};
}

}  // namespace

std::vector<ExampleDevice> readExampleDevices(Inputs& inputs, const std::string& path) {
  const std::string name = nameOf("--devices", path);
  const StopRequest stop;
  LineReader reader(name, inputs.open("--devices", path), stop);
  std::vector<ExampleDevice> devices;
  for (auto lines = reader.next(); !lines.empty(); lines = reader.next()) {
    for (const Line& line : lines) {
      if (devices.size() == kMostExampleDevices) return devices;
      devices.push_back(exampleOf(name, line));
    }
  }
  reader.checkEnd();
  if (devices.empty()) throw Unusable(name + ": has no devices");
  return devices;
}

}  // namespace tavik::tool::lint
