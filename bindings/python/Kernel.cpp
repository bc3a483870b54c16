// Kernel and PreparedRules, and functions that need no rule documents: evaluate and the descriptions.

#include <tavik/AbstractTree.h>
#include <tavik/Capture.h>
#include <tavik/ZRTTavikKernel.h>

#include <memory>

#include "Conversion.h"
#include "Documents.h"
#include "HostPlatform.h"
#include "InterpreterLock.h"
#include "Made.h"
#include "Parts.h"
#include "Prepared.h"
#include "Raise.h"
#include "Result.h"

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

void defineKernel(py::module_& module) {
  const auto attributes = py::arg("attributes");
  const auto rules = py::arg("rules");
  const auto sources = py::arg("sources") = py::none();
  const auto station = py::arg("station") = py::none();
  const auto capture = py::arg("capture") = py::none();

  py::class_<Prepared> prepared(module, "PreparedRules", kAboutPrepared);
  prepared.def("run", runPrepared<toResult>, attributes, sources, station, py::kw_only(), capture, kRunPrepared)
      .def("check", runPrepared<toResultOrRaise>, attributes, sources, station, py::kw_only(), capture, kCheckPrepared)
      .def_property_readonly("rejection", rejectionOf, kRejection);
  defineManyDevices(module, prepared);
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
