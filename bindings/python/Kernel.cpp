// Kernel and PreparedRules, and functions that need no rule documents: evaluate and the descriptions.

#include <tavik/AbstractTree.h>
#include <tavik/Capture.h>
#include <tavik/DeviceLine.h>
#include <tavik/PreparedRules.h>
#include <tavik/ZRTTavikKernel.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "Conversion.h"
#include "Documents.h"
#include "HostPlatform.h"
#include "InterpreterLock.h"
#include "Made.h"
#include "Parts.h"
#include "Raise.h"
#include "Result.h"
#include "Threads.h"

namespace tavik::python {
namespace {

constexpr const char* kAboutKernel = R"(Kernel(library, public_key=None, *, platform=None)
--

Checks devices against the rules of their product. Immutable and thread-safe.

library: the signed rule library: a path, the bytes of a property list, or a dictionary. public_key: a PEM file with the
trusted public keys, instead of /usr/local/share/misc/TavikKernel-pub.pem. platform: a Platform, for a host with its own
trust store or log.

>>> kernel = Kernel(library, public_key)

Raises UntrustedError if no signature is valid, DocumentError if the library is malformed or empty, and OSError if the
file cannot be opened. The diagnostic log goes to the logger "tavik" at level DEBUG.)";

constexpr const char* kRun = R"(run(self, attributes, rules, sources=None, station=None, *, capture=None)
--

Checks one device; returns a Result for every verdict.

attributes: name -> value, as read from the device. rules: the signed local rules of the product. sources: data about
the device from other systems, as {"sfc": {...}, "gui": {...}}. station: the initial station dictionary, empty by
default. capture: a path; the result and everything that determined it are written to this file, for `tavik replay`.

>>> result = kernel.run({"ModelNumber": "MD101"}, rules, sources={"sfc": {"Colour": "red"}})
>>> result.verdict
'passed'

Releases the interpreter lock. To check many devices, prepare the rules.)";

constexpr const char* kCheck = R"(check(self, attributes, rules, sources=None, station=None, *, capture=None)
--

Like run, but raises an exception if the run ended early: Error for a malformed predicate expression, Fault for a rule
that its predicate cannot evaluate.

>>> kernel.check({"ModelNumber": "MD101"}, rules).passed
True

The exception has the name of the rule and the station dictionary.)";

constexpr const char* kPrepare = R"(prepare(self, rules)
--

Prepares local rules for checking many devices; returns PreparedRules. If the rules are rejected, each check reports
that, and PreparedRules.rejection says why.

>>> prepared = kernel.prepare(rules)
>>> prepared.run({"ModelNumber": "MD101"}).verdict
'passed')";

constexpr const char* kAboutPrepared =
    R"(Local rules prepared for many devices and any number of threads. The signature is verified once, when they are
prepared.

>>> kernel.prepare(rules)
<tavik.PreparedRules object at 0x...>)";

constexpr const char* kRejection =
    R"(Why the local rules are rejected; then no run has a verdict. None if they are accepted.

>>> kernel.prepare({"version": "not signed"}).rejection
'the document is not signed: ...')";

constexpr const char* kRunPrepared = R"(run(self, attributes, sources=None, station=None, *, capture=None)
--

Kernel.run with these rules.

>>> kernel.prepare(rules).run({"ModelNumber": "MX101"}).failures[0]["actual"]
'MX101')";

constexpr const char* kCheckPrepared = R"(check(self, attributes, sources=None, station=None, *, capture=None)
--

Kernel.check with these rules.

>>> kernel.prepare(rules).check({"ModelNumber": "MD101"}).passed
True)";

constexpr const char* kCheckMany = R"(check_many(self, devices, threads=None)
--

Checks devices on several threads, by default one per processor. Returns one object per device, in their order: a
Result, or the Error or Fault that ended the run.

devices: an iterable of attributes, or of pairs of attributes and sources.

>>> results = kernel.prepare(rules).check_many([{"ModelNumber": "MD101"}, ({"ModelNumber": "MX101"}, {"sfc": {}})])
>>> [result.verdict for result in results if isinstance(result, Result)]
['passed', 'failed']

Raises an exception for the first device that cannot be converted. Other threads continue meanwhile, and Ctrl-C ends
the call.)";

constexpr const char* kVerdicts = R"(verdicts(self, devices, threads=None)
--

The verdicts of what check_many checks, "passed", "failed" or "none". Faster, because no records are kept.

>>> kernel.prepare(rules).verdicts([{"ModelNumber": "MD101"}, ({"ModelNumber": "MX101"}, {"sfc": {}})])
['passed', 'failed'])";

constexpr const char* kCheckLines = R"(check_lines(self, lines, threads=None)
--

Checks the devices of JSON lines on several threads, by default one per processor. Returns an iterator over the
results, one JSON line for each line that is not blank: what "tavik batch" prints.

lines: an iterable of str or bytes, such as a file. Open the file in binary mode if it may contain invalid UTF-8.

>>> import json
>>> lines = ['{"id": 7, "attributes": {"ModelNumber": "MX101"}}', "{}"]
>>> import json
>>> [json.loads(line).get("verdict") for line in kernel.prepare(rules).check_lines(lines)]
['failed', None]

A line that cannot be used gives {"id": ..., "input_error": "..."}. Lines are read, checked and returned in pieces of
64 per thread. Other threads continue meanwhile, and Ctrl-C ends the call.)";

constexpr const char* kSfcCheckList = R"(sfc_check_list(self, rules, attributes)
--

What to ask the shop-floor system before a check of this device: attribute name -> description.

>>> asking = sign({"version": "12", "GenericRules": {"Colour": {}}}, private_key)
>>> kernel.sfc_check_list(asking, {"ModelNumber": "MD101"})
{'Colour': 'colour on the ticket'}

This and the other lists raise Error if the local rules are not trusted or cannot be assembled for the device.)";

constexpr const char* kGuiCheckList = R"(gui_check_list(self, rules, attributes)
--

What to ask the operator: attribute name -> description.

>>> kernel.gui_check_list(rules, {"ModelNumber": "MD101"})
{})";

constexpr const char* kSimCheckList = R"(sim_check_list(self, rules, attributes)
--

The rules about the SIM card's identity: rule name -> definition.

>>> kernel.sim_check_list(rules, {"ModelNumber": "MD101"})
{})";

constexpr const char* kDomainList = R"(domain_list(self, rules, attributes)
--

The "domain" of each rule that has one: "0", "1", "2" and so on -> domain.

>>> kernel.domain_list(rules, {"ModelNumber": "MD101"})
{'0': 'identity'})";

constexpr const char* kPollingList = R"(polling_list(self, rules, attributes)
--

The "poll" of each rule that has one: "0", "1", "2" and so on -> poll.

>>> kernel.polling_list(rules, {"ModelNumber": "MD101"})
{})";

constexpr const char* kEvaluate = R"(evaluate(expression, attribute, value=None, references=None)
--

Evaluates a predicate expression; returns its record. No rule documents are needed.

attribute: the device's value. value: the expected value. references: attribute name -> reference value; if None, the
predicates are called in their form without references. None means absent.

>>> evaluate("hasPrefix AND isUppercase", "MD101", "MD")["result"]
True
>>> evaluate("NOT equal", 5, 7)
{'result': True, 'actual': 5, 'expected': 'not equal 7'}

Raises Error for a malformed expression, and Fault for arguments that a predicate cannot evaluate.)";

constexpr const char* kValueInListDescription = R"(value_in_list_description(attribute, expected)
--

"actual" and "expected" of `valueInList`, without its result.

>>> value_in_list_description("B", ["A", "B"])
{'actual': 'B', 'expected': 'among A,B'})";

constexpr const char* kNandSizeCheckDescription = R"(nand_size_check_description(attributes, expected)
--

The same for `cccNandSizeCheck`, from the device's "SerialNumber" and "TotalDiskCapacity".

>>> nand_size_check_description({"SerialNumber": "C8PKKQ2", "TotalDiskCapacity": 64_000_000_000}, {"KQ2": 64})
{'actual': 'CCC=KQ2; NAND size=64', 'expected': 64})";

constexpr const char* kNvramWhiteListDescription = R"(nvram_white_list_description(attribute, expected)
--

The same for `nvramWhiteList`, in a longer form.

>>> sorted(nvram_white_list_description({"language": "en"}, ["language"]))
['actual', 'expected'])";

std::optional<Dictionary> dictionaryUnlessNone(py::handle object, const std::string& what) {
  return object.is_none() ? std::nullopt : std::optional(toDictionary(object, what));
}

std::optional<Value> valueUnlessNone(py::handle object, const std::string& what) {
  return object.is_none() ? std::nullopt : std::optional(toValue(object, what));
}

std::optional<Dictionary> sourcesUnlessNone(py::handle object, const std::string& what) {
  std::optional<Dictionary> sources = dictionaryUnlessNone(object, what);
  if (!sources) return sources;
  for (const auto [name, source] : *sources) {
    if (source.ifDictionary() != nullptr) continue;
    const char* const type = Py_TYPE(toPython(source).ptr())->tp_name;
    throw py::type_error(what + "['" + std::string(name) + "']: expected dict, not " + type);
  }
  return sources;
}

template <class Type>
const Type* pointerTo(const std::optional<Type>& maybe) {
  return maybe ? &*maybe : nullptr;
}

template <class Call>
auto withoutLock(Call call) {
  const Unlocked unlocked;
  return call();
}

// Calls into the library without the interpreter lock.
template <class Call>
auto released(HostPlatform& platform, Call call) {
  platform.askWhetherItLogs();
  return withoutLock(call);
}

// The arguments that every run has.
struct RunArguments {
  py::handle sources;
  py::handle station;
  py::handle capture;
};

void writeCapture(py::handle path, const Capture& capture) {
  std::string error;
  const std::optional<std::string> text = capture.write(error);
  if (!text) raiseDocumentError("capture: " + error);
  const py::object file = callPython(imported("pathlib", "Path"), py::reinterpret_borrow<py::object>(path));
  callPython(attributeOf(file, "write_bytes"), py::bytes(*text));
}

// A run for one device. run: called with attributes, sources and station, as in the library.
template <class Run>
CheckOutcome runOne(HostPlatform& platform, py::handle attributes, const RunArguments& arguments, Run run) {
  const Dictionary device = toDictionary(attributes, "attributes");
  const std::optional<Dictionary> others = sourcesUnlessNone(arguments.sources, "sources");
  const Dictionary before = dictionaryUnlessNone(arguments.station, "station").value_or(Dictionary());
  CheckOutcome outcome = released(platform, [&] { return run(device, pointerTo(others), before); });
  if (!arguments.capture.is_none()) {
    writeCapture(arguments.capture, Capture::of(outcome, device, others.value_or(Dictionary()), before));
  }
  return outcome;
}

// ---- Prepared rules ----

struct Prepared {
  using MadeByInit = Prepared;

  std::shared_ptr<HostPlatform> platform;
  std::unique_ptr<const PreparedRules> rules;
};

using Finish = py::object (*)(CheckOutcome outcome);

template <Finish finish>
py::object runPrepared(const Prepared& self, py::handle attributes, py::handle sources, py::handle station,
                       py::handle capture) {
  return finish(runOne(*self.platform, attributes, {sources, station, capture},
                       [&](const Dictionary& device, const Dictionary* others, Dictionary before) {
                         return self.rules->run(device, others, std::move(before));
                       }));
}

py::object rejectionOf(const Prepared& self) {
  const Reason* const rejection = self.rules->rejection();
  return rejection == nullptr ? py::none() : lenientText(rejection->description);
}

struct Device {
  Dictionary attributes;
  std::optional<Dictionary> sources;
};

Device deviceOf(py::handle object, const std::string& what) {
  if (!PyTuple_Check(object.ptr())) return {toDictionary(object, what), {}};
  const auto pair = py::reinterpret_borrow<py::tuple>(object);
  if (pair.size() != 2) throw py::type_error(what + ": expected a pair of attributes and sources");
  return {toDictionary(pair[0], what + "[0]"), sourcesUnlessNone(pair[1], what + "[1]")};
}

std::size_t threadsOf(py::handle wanted) {
  constexpr Py_ssize_t kMost = 256;
  if (wanted.is_none()) return std::max(1U, std::thread::hardware_concurrency());
  const Py_ssize_t count = PyNumber_AsSsize_t(wanted.ptr(), nullptr);
  if (PyErr_Occurred() != nullptr) throw py::error_already_set();
  if (count < 1) throw py::value_error("threads: must be at least 1");
  return static_cast<std::size_t>(std::min(count, kMost));
}

// Lets other threads run, and Ctrl-C end the call, in a loop that holds the interpreter lock.
void yieldRegularly(Interval& interval) {
  if (!interval.isOver()) return;
  { const Unlocked unlocked; }
  if (orStay(PyErr_CheckSignals) != 0) throw py::error_already_set();
}

// Converts up to `most` devices; `count` is how many came before. Returns none at the end.
std::vector<Device> nextDevices(const py::object& iterator, std::size_t most, std::size_t count, Interval& interval) {
  std::vector<Device> devices;
  while (devices.size() < most) {
    PyObject* const next = orStay([&] { return PyIter_Next(iterator.ptr()); });
    if (next == nullptr) break;
    const auto device = py::reinterpret_steal<py::object>(next);
    devices.push_back(deviceOf(device, "devices[" + std::to_string(count + devices.size()) + "]"));
    yieldRegularly(interval);
  }
  if (PyErr_Occurred() != nullptr) throw py::error_already_set();
  return devices;
}

// Checks devices in pieces and returns a list with one object per device. keep: what is needed of an outcome, called
// without the interpreter lock. toObject: makes the object from it.
template <auto keep, auto toObject>
py::list checkDevices(const Prepared& self, py::handle devices, py::handle threads) {
  constexpr std::size_t kPerThread = 32;  // few enough to stay in a processor's cache
  const std::size_t used = threadsOf(threads);
  const py::object iterator = fromPython([&] { return PyObject_GetIter(devices.ptr()); });
  self.platform->askWhetherItLogs();
  Interval interval(std::chrono::milliseconds(10));
  py::list objects;
  for (;;) {
    const std::vector<Device> piece = nextDevices(iterator, kPerThread * used, objects.size(), interval);
    if (piece.empty()) return objects;
    std::vector<decltype(keep(CheckOutcome()))> kept(piece.size());
    withoutLock([&] {
      onThreads(piece.size(), used, [&](std::size_t index) {
        const auto& [attributes, others] = piece[index];
        kept[index] = keep(self.rules->run(attributes, pointerTo(others)));
      });
    });
    for (auto& one : kept) {
      objects.append(toObject(std::move(one)));
      yieldRegularly(interval);
    }
  }
}

CheckOutcome wholeOutcome(CheckOutcome outcome) { return outcome; }
Verdict verdictOf(const CheckOutcome& outcome) { return outcome.verdict; }
py::object toWord(Verdict verdict) { return toText(wordOf(verdict)); }

// The bytes of a str or bytes object, valid as long as the object.
std::string_view bytesOf(py::handle line, std::size_t index) {
  Py_ssize_t size = 0;
  const char* bytes = nullptr;
  if (PyBytes_Check(line.ptr())) {
    bytes = PyBytes_AS_STRING(line.ptr());
    size = PyBytes_GET_SIZE(line.ptr());
  } else if (PyUnicode_Check(line.ptr())) {
    bytes = PyUnicode_AsUTF8AndSize(line.ptr(), &size);
    if (bytes == nullptr) throw py::error_already_set();
  } else {
    throw py::type_error("lines[" + std::to_string(index) + "]: expected str or bytes");
  }
  return {bytes, static_cast<std::size_t>(size)};
}

// The results of lines, checked in pieces.
class CheckedLines {
 public:
  CheckedLines(const py::object& prepared, py::handle lines, py::handle threads)
      : prepared_(prepared),
        lines_(fromPython([&] { return PyObject_GetIter(lines.ptr()); })),
        threads_(threadsOf(threads)) {}

  py::object next() {
    if (at_ == results_.size()) checkPiece();
    const std::string& result = results_[at_++];
    return py::reinterpret_steal<py::object>(
        PyUnicode_DecodeUTF8(result.data(), static_cast<Py_ssize_t>(result.size()), nullptr));
  }

 private:
  static constexpr std::size_t kPerThread = 64;

  struct Line {
    py::object owner;
    std::string_view text;
    std::size_t number;
  };

  void checkPiece();
  void takeLine(std::vector<Line>& piece, py::object line);

  py::object prepared_;
  py::object lines_;
  std::size_t threads_;
  std::size_t taken_ = 0;
  std::vector<std::string> results_;
  std::size_t at_ = 0;
};

// Leaves out blank lines.
void CheckedLines::takeLine(std::vector<Line>& piece, py::object line) {
  std::string_view text = bytesOf(line, taken_++);
  text = text.substr(0, text.find_last_not_of("\r\n") + 1);
  if (text.find_first_not_of(" \t\r") != std::string_view::npos) piece.push_back({std::move(line), text, taken_});
}

void CheckedLines::checkPiece() {
  const auto& prepared = prepared_.cast<const Prepared&>();
  std::vector<Line> piece;
  while (piece.size() < kPerThread * threads_) {
    PyObject* const line = orStay([&] { return PyIter_Next(lines_.ptr()); });
    if (line == nullptr) break;
    takeLine(piece, py::reinterpret_steal<py::object>(line));
  }
  if (PyErr_Occurred() != nullptr) throw py::error_already_set();
  if (piece.empty()) throw py::stop_iteration();
  prepared.platform->askWhetherItLogs();
  std::vector<std::string> results(piece.size());
  withoutLock([&] {
    onThreads(piece.size(), threads_, [&](std::size_t index) {
      const auto& [owner, text, number] = piece[index];
      if (!appendJsonLine(results[index], checkLine(*prepared.rules, text, number))) {
        throw std::invalid_argument("line " + std::to_string(number) + ": JSON cannot represent the result");
      }
    });
  });
  results_ = std::move(results);
  at_ = 0;
}

// ---- The kernel ----

class Kernel {
 public:
  using MadeByInit = Kernel;

  Kernel(const py::object& library, const py::object& publicKey, const py::object& platform)
      : platform_(std::make_shared<HostPlatform>(platformOf(publicKey, platform))) {
    std::string name = "library";
    Reason why;
    kernel_ = made(library, name, why);
    if (kernel_ != nullptr) return;
    const std::string message = name + ": " + why.description;
    why.category == Reason::Category::kNotTrusted ? raiseUntrustedError(message) : raiseDocumentError(message);
  }

  template <Finish finish>
  [[nodiscard]] py::object run(py::handle attributes, py::handle rules, py::handle sources, py::handle station,
                               py::handle capture) const;
  [[nodiscard]] Prepared prepare(py::handle rules) const;

  using List = std::optional<Dictionary> (ZRTTavikKernel::*)(const Dictionary& localRules,
                                                             const Dictionary& deviceAttributes,
                                                             std::optional<Error>& error) const;
  template <List list>
  [[nodiscard]] py::dict listed(py::handle rules, py::handle attributes) const;

 private:
  static py::object platformOf(const py::object& publicKey, const py::object& platform) {
    if (platform.is_none()) return callPython(imported("tavik._platform", "StationPlatform"), publicKey);
    if (!publicKey.is_none()) throw py::value_error("public_key: cannot be combined with a platform");
    return platform;
  }

  std::unique_ptr<const ZRTTavikKernel> made(const py::object& library, std::string& name, Reason& why);

  std::shared_ptr<HostPlatform> platform_;
  std::unique_ptr<const ZRTTavikKernel> kernel_;
};

// Sets `name` to the path if the library is a file.
std::unique_ptr<const ZRTTavikKernel> Kernel::made(const py::object& library, std::string& name, Reason& why) {
  const auto init = [&](const auto& source) {
    return released(*platform_, [&] { return ZRTTavikKernel::init(source, platform_, why); });
  };
  if (PyObject_CheckBuffer(library.ptr()) != 0) return init(toData(library, "library").bytes());
  if (!PyUnicode_Check(library.ptr()) && !py::hasattr(library, "__fspath__")) {
    return init(toDictionary(library, "library"));
  }
  name = pathOf(library);
  auto kernel = init(name);
  if (kernel == nullptr && why.category == Reason::Category::kUnreadable) requireOpenable(name);
  return kernel;
}

template <Finish finish>
py::object Kernel::run(py::handle attributes, py::handle rules, py::handle sources, py::handle station,
                       py::handle capture) const {
  const std::optional<Dictionary> local = dictionaryUnlessNone(rules, "rules");
  return finish(runOne(*platform_, attributes, {sources, station, capture},
                       [&](const Dictionary& device, const Dictionary* others, Dictionary before) {
                         return kernel_->run(device, pointerTo(local), others, std::move(before));
                       }));
}

Prepared Kernel::prepare(py::handle rules) const {
  const std::optional<Dictionary> local = dictionaryUnlessNone(rules, "rules");
  return {platform_, released(*platform_, [&] { return kernel_->prepare(pointerTo(local)); })};
}

template <Kernel::List list>
py::dict Kernel::listed(py::handle rules, py::handle attributes) const {
  const Dictionary local = toDictionary(rules, "rules");
  const Dictionary device = toDictionary(attributes, "attributes");
  std::optional<Error> error;
  const auto found =
      withFaults([&] { return released(*platform_, [&] { return ((*kernel_).*list)(local, device, error); }); });
  if (!found) raise(makeException(*error));
  return toPython(*found);
}

// ---- Without rule documents ----

py::dict evaluate(const std::string& expression, py::handle attribute, py::handle value, py::handle references) {
  const std::optional<Value> found = valueUnlessNone(attribute, "attribute");
  const std::optional<Value> expected = valueUnlessNone(value, "value");
  const std::optional<Dictionary> others = dictionaryUnlessNone(references, "references");
  const auto platform = std::make_shared<HostPlatform>(callPython(imported("tavik._platform", "Platform")));
  platform->askWhetherItLogs();
  const PredicateKernel kernel(platform);
  std::optional<Error> error;
  const auto tree = AbstractTreeNode::parsePredicateString(expression, kernel, error);
  if (tree == nullptr) raise(makeException(*error));
  return toPython(withFaults([&] { return *tree->process(pointerTo(found), pointerTo(expected), pointerTo(others)); }));
}

template <Dictionary (*describe)(const Value*, const Value*)>
py::dict described(py::handle attribute, py::handle expected) {
  const std::optional<Value> found = valueUnlessNone(attribute, "attribute");
  const std::optional<Value> wanted = valueUnlessNone(expected, "expected");
  return toPython(withFaults([&] { return describe(pointerTo(found), pointerTo(wanted)); }));
}

py::dict describeNandSize(py::handle attributes, py::handle expected) {
  const Dictionary device = toDictionary(attributes, "attributes");
  const std::optional<Value> wanted = valueUnlessNone(expected, "expected");
  return toPython(withFaults([&] { return ZRTTavikKernel::nandSizeCheckDescription(device, pointerTo(wanted)); }));
}

}  // namespace

void defineKernel(py::module_& module) {
  const auto attributes = py::arg("attributes");
  const auto rules = py::arg("rules");
  const auto sources = py::arg("sources") = py::none();
  const auto station = py::arg("station") = py::none();
  const auto capture = py::arg("capture") = py::none();

  py::class_<Prepared>(module, "PreparedRules", kAboutPrepared)
      .def("run", runPrepared<toResult>, attributes, sources, station, py::kw_only(), capture, kRunPrepared)
      .def("check", runPrepared<toResultOrRaise>, attributes, sources, station, py::kw_only(), capture, kCheckPrepared)
      .def("check_many", checkDevices<wholeOutcome, toResultOrException>, py::arg("devices"),
           py::arg("threads") = py::none(), kCheckMany)
      .def("verdicts", checkDevices<verdictOf, toWord>, py::arg("devices"), py::arg("threads") = py::none(), kVerdicts)
      .def(
          "check_lines",
          [](const py::object& self, py::handle lines, py::handle count) { return CheckedLines(self, lines, count); },
          py::arg("lines"), py::arg("threads") = py::none(), kCheckLines)
      .def_property_readonly("rejection", rejectionOf, kRejection);
  py::class_<CheckedLines>(module, "_CheckedLines")
      .def("__iter__", [](const py::object& self) { return self; })
      .def("__next__", &CheckedLines::next);
  py::class_<Kernel>(module, "Kernel", kAboutKernel)
      .def(py::init<const py::object&, const py::object&, const py::object&>(), py::arg("library"),
           py::arg("public_key") = py::none(), py::kw_only(), py::arg("platform") = py::none(),
           "__init__(self, library, public_key=None, *, platform=None)\n--\n\n")
      .def("run", &Kernel::run<toResult>, attributes, rules, sources, station, py::kw_only(), capture, kRun)
      .def("check", &Kernel::run<toResultOrRaise>, attributes, rules, sources, station, py::kw_only(), capture, kCheck)
      .def("prepare", &Kernel::prepare, rules, kPrepare)
      .def("sfc_check_list", &Kernel::listed<&ZRTTavikKernel::sfcCheckList>, rules, attributes, kSfcCheckList)
      .def("gui_check_list", &Kernel::listed<&ZRTTavikKernel::guiCheckList>, rules, attributes, kGuiCheckList)
      .def("sim_check_list", &Kernel::listed<&ZRTTavikKernel::simCheckList>, rules, attributes, kSimCheckList)
      .def("domain_list", &Kernel::listed<&ZRTTavikKernel::getDomainList>, rules, attributes, kDomainList)
      .def("polling_list", &Kernel::listed<&ZRTTavikKernel::getPollingList>, rules, attributes, kPollingList);

  const auto attribute = py::arg("attribute");
  const auto expected = py::arg("expected");
  module.def("evaluate", evaluate, py::arg("expression"), attribute, py::arg("value") = py::none(),
             py::arg("references") = py::none(), kEvaluate);
  module.def("value_in_list_description", described<ZRTTavikKernel::valueInListDescription>, attribute, expected,
             kValueInListDescription);
  module.def("nand_size_check_description", describeNandSize, attributes, expected, kNandSizeCheckDescription);
  module.def("nvram_white_list_description", described<ZRTTavikKernel::nvramWhiteListDescription>, attribute, expected,
             kNvramWhiteListDescription);
}

}  // namespace tavik::python
