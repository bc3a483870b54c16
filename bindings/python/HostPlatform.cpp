#include "HostPlatform.h"

#include "Conversion.h"
#include "Documents.h"
#include "FrozenDictionary.h"
#include "InterpreterLock.h"
#include "Parts.h"
#include "Raise.h"

namespace tavik::python {
namespace {

py::object platformClass(const char* name) { return imported("tavik._platform", name); }

std::shared_ptr<const StationPlatform> stationOf(const py::object& platform) {
  const py::object station = platformClass("StationPlatform");
  const py::object function = py::getattr(platform.attr("validate"), "__func__", py::none());
  const bool validatesAsStation = py::isinstance(platform, station) && function.is(station.attr("validate"));
  if (!validatesAsStation) return nullptr;
  return platform.attr("_validation").cast<const StationValidation&>().platform;
}

FrozenDictionary validate(const StationValidation& validation, py::handle document, const std::string& publicKeyPath) {
  std::optional<std::string> refusal;
  const auto content = validation.platform->validatedPropertyListFromSignedDictionary(toDictionary(document, "signed"),
                                                                                      publicKeyPath, refusal);
  if (refusal) raiseUntrustedError(*refusal);
  return {*content->ifDictionary()};  // signed content is always a dictionary
}

}  // namespace

HostPlatform::HostPlatform(py::object platform) : platform_(std::move(platform)) {
  if (!py::isinstance(platform_, platformClass("Platform")))
    throw py::type_error("platform: expected a tavik.Platform");
  station_ = stationOf(platform_);
}

HostPlatform::~HostPlatform() {
  const Locked lock;
  orStay([this] { Py_XDECREF(platform_.release().ptr()); });
}

void HostPlatform::askWhetherItLogs() {
  const py::object logs = callPython(attributeOf(platform_, "logs"));
  if (!PyBool_Check(logs.ptr())) {
    throw py::type_error(std::string("logs(): expected bool, not ") + Py_TYPE(logs.ptr())->tp_name);
  }
  logs_.store(logs.is(py::bool_(true)), std::memory_order_relaxed);
}

std::optional<Value> HostPlatform::validatedPropertyListFromSignedDictionary(
    const Dictionary& signedDictionary, const std::string& publicKeyPath,
    std::optional<std::string>& errorDescription) const {
  const Locked lock;
  const py::object untrusted = imported("tavik._errors", "UntrustedError");
  py::object refusal;
  try {
    const py::object content = callPython(attributeOf(platform_, "validate"),
                                          py::cast(FrozenDictionary{signedDictionary}), toText(publicKeyPath));
    return toDictionary(content, "validate()");
  } catch (py::error_already_set& raised) {
    if (!raised.matches(untrusted)) throw;
    refusal = raised.value();
  }
  const py::object text = fromPython([&] { return PyObject_Str(refusal.ptr()); });
  errorDescription = py::bytes(fromPython([&] { return PyUnicode_AsEncodedString(text.ptr(), "utf-8", "replace"); }));
  return std::nullopt;
}

ValidatedDocument HostPlatform::validate(const Dictionary& signedDictionary, const std::string& publicKeyPath,
                                         std::optional<DocumentRole> role) const {
  if (!station_) return Platform::validate(signedDictionary, publicKeyPath, role);
  ValidatedDocument validated = station_->validate(signedDictionary, publicKeyPath, role);
  if (!validated.provenance.warning.empty() && logs()) log(validated.provenance.warning);
  return validated;
}

void HostPlatform::log(std::string_view line) const {
  const Locked lock;
  py::object where;
  try {
    callPython(attributeOf(platform_, "log"), toText(line));
    return;
  } catch (py::error_already_set& raised) {
    if (!raised.matches(PyExc_Exception)) throw;
    where = py::str("the log of a tavik.Platform");
    raised.restore();
  }
  orStay([&] { PyErr_WriteUnraisable(where.ptr()); });
}

void defineStationValidation(py::module_& module) {
  py::class_<StationValidation>(module, "StationValidation")
      .def(py::init([](const py::object& publicKey, const py::object& trust, bool remember) {
        TrustPolicy policy = trustPolicy(publicKey, trust);
        policy.remember = remember;
        return StationValidation{std::make_shared<StationPlatform>(std::move(policy), StationPlatform::Log::kNone)};
      }))
      .def("validate", validate);
}

}  // namespace tavik::python
