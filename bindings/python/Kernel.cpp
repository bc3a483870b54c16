// Kernel and PreparedRules, and what needs no rule documents: one expression, the descriptions.

#include <sys/mman.h>
#include <tavik/AbstractTree.h>
#include <tavik/PreparedRules.h>
#include <tavik/PropertyList.h>
#include <tavik/ZRTTavikKernel.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "CheckMany.h"
#include "CheckResult.h"
#include "Conversion.h"
#include "Documents.h"
#include "HostPlatform.h"
#include "InterpreterLock.h"
#include "Made.h"
#include "Parts.h"
#include "Raise.h"

namespace tavik::python {
namespace {

constexpr const char* kAboutKernel = R"(Kernel(library, public_key=None, *, platform=None)
--

Checks devices against the rules of their product. Immutable, and safe from any thread.

library: the signed rule library, a path or a dictionary. public_key: PEM file of the trusted public keys, in place of
/usr/local/share/misc/TavikKernel-pub.pem. platform: a Platform, for a host with its own trust store or log.

>>> kernel = Kernel(library, public_key)

Raises UntrustedError when the signature does not hold, DocumentError when the library is malformed or empty, OSError
when it cannot be opened. The diagnostic log goes to the logger "tavik", at the level DEBUG.)";

constexpr const char* kCheck = R"(check(self, attributes, rules, sources=None, station=None)
--

Checks one device; returns a Result.

attributes: name -> value, as read from the device. rules: the signed local rules of the product. sources: what others
say of the device, as {"sfc": {...}, "gui": {...}}. station: the station dictionary before the run, by default empty.

>>> result = kernel.check({"ModelNumber": "MD101"}, rules, sources={"sfc": {"Colour": "red"}})
>>> result.passed
True

Raises Error for a malformed predicate expression, Fault for what a rule must not ask for. Other threads run meanwhile.
To check many devices, prepare the rules.)";

constexpr const char* kPrepare = R"(prepare(self, rules)
--

Makes local rules ready for the check of many devices; returns PreparedRules. What is wrong with them is for each check
to report.

>>> prepared = kernel.prepare(rules)
>>> prepared.check({"ModelNumber": "MD101"}).passed
True)";

constexpr const char* kAboutPrepared =
    R"(Local rules made ready, for many devices and any number of threads. The signature was checked once, when they were
prepared.

>>> kernel.prepare(rules)
<tavik.PreparedRules object at 0x...>)";

constexpr const char* kCheckPrepared = R"(check(self, attributes, sources=None, station=None)
--

Kernel.check with these rules.

>>> kernel.prepare(rules).check({"ModelNumber": "MX101"}).failures[0]["actual"]
'MX101')";

constexpr const char* kCheckMany = R"(check_many(self, devices, threads=None)
--

Checks devices on several threads, as many as there are processors if not said; returns what came of each, in their
order: a Result, or the Error or Fault that ended its check.

devices: an iterable of attributes, or of pairs of attributes and sources.

>>> outcomes = kernel.prepare(rules).check_many([{"ModelNumber": "MD101"}, ({"ModelNumber": "MX101"}, {"sfc": {}})])
>>> [outcome.passed for outcome in outcomes if isinstance(outcome, Result)]
[True, False]

All devices are converted before the first is checked; one that cannot be is raised.)";

constexpr const char* kSfcCheckList = R"(sfc_check_list(self, rules, attributes)
--

What to ask the shop-floor system before this device's check: attribute name -> description.

>>> asking = sign({"version": "12", "GenericRules": {"Colour": {}}}, private_key)
>>> kernel.sfc_check_list(asking, {"ModelNumber": "MD101"})
{'Colour': 'colour on the ticket'}

Raises Error when the local rules are not trusted or have no rules for the device, as the other lists do.)";

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

The "domain" of each rule that has one: "0", "1", "2", ... -> domain.

>>> kernel.domain_list(rules, {"ModelNumber": "MD101"})
{'0': 'identity'})";

constexpr const char* kPollingList = R"(polling_list(self, rules, attributes)
--

The "poll" of each rule that has one: "0", "1", "2", ... -> poll.

>>> kernel.polling_list(rules, {"ModelNumber": "MD101"})
{})";

constexpr const char* kEvaluate = R"(evaluate(expression, attribute, value=None, references=None)
--

Evaluates a predicate expression; returns its record. No rule documents are needed.

attribute: the device's value. value: the expected value. references: reference values by attribute name; they decide
which form of a predicate is called. None is absent.

>>> evaluate("hasPrefix AND isUppercase", "MD101", "MD")["result"]
True
>>> evaluate("NOT equal", 5, 7)
{'result': True, 'actual': 5, 'expected': 'not equal 7'}

Raises Error for a malformed expression, Fault for what a predicate must not be asked for.)";

constexpr const char* kValueInListDescription = R"(value_in_list_description(attribute, expected)
--

What `valueInList` is about to compare, without its verdict.

>>> value_in_list_description("B", ["A", "B"])
{'actual': 'B', 'expected': 'among A,B'})";

constexpr const char* kNandSizeCheckDescription = R"(nand_size_check_description(attributes, expected)
--

The same of `cccNandSizeCheck`, from the device's "SerialNumber" and "TotalDiskCapacity".

>>> nand_size_check_description({"SerialNumber": "C8PKKQ2", "TotalDiskCapacity": 64_000_000_000}, {"KQ2": 64})
{'actual': 'CCC=KQ2; NAND size=64', 'expected': 64})";

constexpr const char* kNvramWhiteListDescription = R"(nvram_white_list_description(attribute, expected)
--

The same of `nvramWhiteList`, in its long form.

>>> sorted(nvram_white_list_description({"language": "en"}, ["language"]))
['actual', 'expected'])";

/// A document as a file without a name, since a kernel reads its library from a path.
class NamelessFile {
 public:
  explicit NamelessFile(const Data& contents) : file_(memfd_create("tavik-rule-library", MFD_CLOEXEC)) {
    if (file_ < 0) raiseSystemError("library");
    for (auto rest = contents.bytes(); !rest.empty();) {
      const ssize_t written = write(file_, rest.data(), rest.size());
      if (written < 0) fail();
      rest = rest.subspan(static_cast<std::size_t>(written));
    }
  }
  NamelessFile(const NamelessFile&) = delete;
  NamelessFile& operator=(const NamelessFile&) = delete;
  ~NamelessFile() { close(file_); }

  [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

 private:
  [[noreturn]] void fail() const {
    const int reason = errno;
    close(file_);
    errno = reason;
    raiseSystemError("library");
  }

  int file_;
};

std::optional<Dictionary> dictionaryUnlessNone(py::handle object, const std::string& what) {
  return object.is_none() ? std::nullopt : std::optional(toDictionary(object, what));
}

std::optional<Value> valueUnlessNone(py::handle object, const std::string& what) {
  return object.is_none() ? std::nullopt : std::optional(toValue(object, what));
}

template <class Type>
const Type* pointerTo(const std::optional<Type>& maybe) {
  return maybe ? &*maybe : nullptr;
}

// Calls into the library while other threads of Python run.
template <class Call>
auto released(HostPlatform& platform, Call call) {
  platform.askWhetherItLogs();
  const Unlocked unlocked;
  return call();
}

// A check of one device; `check` gets attributes, sources, station and error as the library's operations do.
template <class Check>
py::object checkOne(HostPlatform& platform, py::handle attributes, py::handle sources, py::handle station,
                    Check check) {
  const Dictionary device = toDictionary(attributes, "attributes");
  const std::optional<Dictionary> others = dictionaryUnlessNone(sources, "sources");
  Dictionary before = dictionaryUnlessNone(station, "station").value_or(Dictionary());
  return toResult(released(platform, [&] {
    return outcomeOf(std::move(before), [&](Dictionary& after, std::optional<Error>& error) {
      return check(device, pointerTo(others), &after, error);
    });
  }));
}

// ---- Prepared rules ----

struct Prepared {
  using MadeByInit = Prepared;

  std::shared_ptr<HostPlatform> platform;
  std::unique_ptr<const PreparedRules> rules;
};

py::object checkPrepared(const Prepared& self, py::handle attributes, py::handle sources, py::handle station) {
  return checkOne(*self.platform, attributes, sources, station,
                  [&](const Dictionary& device, const Dictionary* others, Dictionary* after,
                      std::optional<Error>& error) { return self.rules->check(device, others, after, error); });
}

Device deviceOf(py::handle object, const std::string& what) {
  if (!PyTuple_Check(object.ptr())) return {toDictionary(object, what), {}};
  const auto pair = py::reinterpret_borrow<py::tuple>(object);
  if (pair.size() != 2) throw py::type_error(what + ": is no pair of attributes and sources");
  return {toDictionary(pair[0], what + "[0]"), dictionaryUnlessNone(pair[1], what + "[1]")};
}

std::size_t threadsOf(py::handle wanted) {
  constexpr Py_ssize_t kMost = 256;
  if (wanted.is_none()) return std::max(1U, std::thread::hardware_concurrency());
  const Py_ssize_t count = PyNumber_AsSsize_t(wanted.ptr(), nullptr);
  if (PyErr_Occurred() != nullptr) throw py::error_already_set();
  if (count < 1) throw py::value_error("threads: is less than 1");
  return static_cast<std::size_t>(std::min(count, kMost));
}

py::list checkDevices(const Prepared& self, py::handle devices, py::handle threads) {
  const std::size_t count = threadsOf(threads);
  std::vector<Device> converted;
  const py::object iterator = fromPython([&] { return PyObject_GetIter(devices.ptr()); });
  while (PyObject* const next = orStay([&] { return PyIter_Next(iterator.ptr()); })) {
    const auto device = py::reinterpret_steal<py::object>(next);
    converted.push_back(deviceOf(device, "devices[" + std::to_string(converted.size()) + "]"));
  }
  if (PyErr_Occurred() != nullptr) throw py::error_already_set();
  auto outcomes = released(*self.platform, [&] { return checkMany(*self.rules, converted, count); });
  py::list objects;
  for (Outcome& outcome : outcomes) objects.append(toObject(std::move(outcome)));
  return objects;
}

// ---- The kernel ----

class Kernel {
 public:
  using MadeByInit = Kernel;

  Kernel(const py::object& library, const py::object& publicKey, const py::object& platform)
      : platform_(std::make_shared<HostPlatform>(platformOf(publicKey, platform))) {
    const bool isPath =
        PyUnicode_Check(library.ptr()) || PyBytes_Check(library.ptr()) || py::hasattr(library, "__fspath__");
    isPath ? open(pathOf(library), pathOf(library)) : open(toDictionary(library, "library"));
  }

  [[nodiscard]] py::object check(py::handle attributes, py::handle rules, py::handle sources, py::handle station) const;
  [[nodiscard]] Prepared prepare(py::handle rules) const;

  using List = std::optional<Dictionary> (ZRTTavikKernel::*)(const Dictionary& localRules,
                                                             const Dictionary& deviceAttributes,
                                                             std::optional<Error>& error) const;
  template <List list>
  [[nodiscard]] py::dict listed(py::handle rules, py::handle attributes) const;

 private:
  static py::object platformOf(const py::object& publicKey, const py::object& platform) {
    if (platform.is_none()) return callPython(imported("tavik._platform", "StationPlatform"), publicKey);
    if (!publicKey.is_none()) throw py::value_error("public_key: the platform that is given has the key");
    return platform;
  }

  void open(const Dictionary& library) {
    std::string error;
    const std::optional<Data> bytes = writePropertyList(Value(library), PropertyListFormat::kBinary, error);
    if (!bytes) raiseDocumentError("library: " + error);
    open("library", NamelessFile(*bytes).path());
  }

  void open(const std::string& name, const std::string& path) {
    kernel_ = released(*platform_, [&] { return ZRTTavikKernel::init(path, platform_); });
    if (kernel_ == nullptr) refuse(name, path);
  }

  [[noreturn]] void refuse(const std::string& name, const std::string& path) const;

  std::shared_ptr<HostPlatform> platform_;
  std::unique_ptr<const ZRTTavikKernel> kernel_;
};

// The library tells only its log why there is no kernel.
void Kernel::refuse(const std::string& name, const std::string& path) const {
  const Value file = readFile(path);
  if (file.ifDictionary() == nullptr) raiseDocumentError(name + ": is no dictionary");
  std::optional<std::string> refusal;
  static_cast<void>(platform_->validatedPropertyListFromSignedDictionary(*file.ifDictionary(),
                                                                         ZRTTavikKernel::kPublicKeyPath, refusal));
  if (refusal) raiseUntrustedError(name + ": " + *refusal);
  raiseDocumentError(name + ": holds no rules");
}

py::object Kernel::check(py::handle attributes, py::handle rules, py::handle sources, py::handle station) const {
  const std::optional<Dictionary> local = dictionaryUnlessNone(rules, "rules");
  return checkOne(
      *platform_, attributes, sources, station,
      [&](const Dictionary& device, const Dictionary* others, Dictionary* after, std::optional<Error>& error) {
        return kernel_->check(device, pointerTo(local), others, after, error);
      });
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

  py::class_<Prepared>(module, "PreparedRules", kAboutPrepared)
      .def("check", checkPrepared, attributes, sources, station, kCheckPrepared)
      .def("check_many", checkDevices, py::arg("devices"), py::arg("threads") = py::none(), kCheckMany);
  py::class_<Kernel>(module, "Kernel", kAboutKernel)
      .def(py::init<const py::object&, const py::object&, const py::object&>(), py::arg("library"),
           py::arg("public_key") = py::none(), py::kw_only(), py::arg("platform") = py::none())
      .def("check", &Kernel::check, attributes, rules, sources, station, kCheck)
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
