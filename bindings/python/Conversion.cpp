#include "Conversion.h"

#include <tavik/PropertyList.h>
#include <tavik/ValueMaker.h>

#include <array>
#include <span>
#include <utility>
#include <vector>

#include "Dates.h"
#include "FrozenDictionary.h"
#include "InterpreterLock.h"

namespace tavik::python {
namespace {

std::string reprOf(py::handle object) {
  return fromPython([&] { return PyObject_Repr(object.ptr()); }).cast<std::string>();
}

std::string typeNameOf(py::handle object) { return Py_TYPE(object.ptr())->tp_name; }

bool isBytes(PyObject* object) {
  return PyBytes_Check(object) || PyByteArray_Check(object) || PyMemoryView_Check(object);
}

// ---- Python to library ----

class Converter {
 public:
  /// object: what is converted. what: its name in messages.
  Converter(py::handle object, const std::string& what) : what_(what), maker_(sizeOfTexts(object.ptr())) {}

  Value value(py::handle object) { return value(object.ptr(), nullptr); }
  Dictionary dictionary(py::handle object) {
    if (!isMapping(object.ptr())) refuse(PyExc_TypeError, nullptr, "expected dict, not " + typeNameOf(object));
    const Value whole = value(object);
    return *whole.ifDictionary();
  }
  Data data(py::handle object) {
    if (!isBytes(object.ptr())) refuse(PyExc_TypeError, nullptr, "expected bytes, not " + typeNameOf(object));
    const Value whole = value(object);
    return *whole.ifData();
  }

 private:
  // One step of the path from the argument to a value, for messages.
  struct Step {
    const Step* above;
    PyObject* key;  // null: an index
    Py_ssize_t index;
  };

  // A nesting level of arrays and dictionaries.
  class Level {
   public:
    Level(Converter& converter, const Step* step) : converter_(converter) {
      if (++converter.depth_ > kPropertyListDepthLimit) {
        converter.refuse(PyExc_ValueError, step,
                         "nested more than " + std::to_string(kPropertyListDepthLimit) +
                             " levels deep; does a list or dictionary contain itself?");
      }
    }
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;
    ~Level() { --converter_.depth_; }

   private:
    Converter& converter_;
  };

  Value value(PyObject* object, const Step* step) {
    count(step);
    return PyUnicode_Check(object) ? text(object, step) : otherValue(object, step);
  }
  Value text(PyObject* object, const Step* step) {
    if (!PyUnicode_IS_COMPACT_ASCII(object)) return otherText(object, step);
    return maker_.string({reinterpret_cast<const char*>(PyUnicode_1BYTE_DATA(object)),
                          static_cast<std::size_t>(PyUnicode_GET_LENGTH(object))});
  }
  Value otherText(PyObject* object, const Step* step);
  Value otherValue(PyObject* object, const Step* step);
  Value sequence(PyObject* object, const Step* step);
  Value mapping(PyObject* object, const Step* step);
  Dictionary exactDictionary(PyObject* object, const Step* step);
  Dictionary otherMapping(PyObject* object, const Step* step);
  std::pair<Value, Value> entry(PyObject* key, PyObject* object, const Step* step);
  Value frozen(const Dictionary& dictionary, const Step* step);
  void admit(const Value& value, const Step* step);
  Value integer(PyObject* object, const Step* step) const;
  Value date(PyObject* object, const Step* step) const;
  void count(const Step* step) {
    if (++count_ > kMostValues) refuseCount(step);
  }
  [[noreturn]] void refuseCount(const Step* step) const;
  static bool isMapping(PyObject* object);
  static std::size_t sizeOfTexts(PyObject* object);
  [[noreturn]] void refuse(PyObject* type, const Step* step, const std::string& why) const;
  [[nodiscard]] std::string where(const Step* step) const;

  const std::string& what_;
  ValueMaker maker_;
  int depth_ = 0;
  std::size_t count_ = 0;
};

// The buffer of a bytes-like object, held in place.
class Buffer {
 public:
  explicit Buffer(PyObject* object) {
    if (PyObject_GetBuffer(object, &view_, PyBUF_CONTIG_RO) != 0) throw py::error_already_set();
  }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer() { PyBuffer_Release(&view_); }

  [[nodiscard]] std::span<const std::uint8_t> bytes() const {
    return {static_cast<const std::uint8_t*>(view_.buf), static_cast<std::size_t>(view_.len)};
  }

 private:
  Py_buffer view_{};
};

Value Converter::otherValue(PyObject* object, const Step* step) {
  if (PyBool_Check(object)) return Value(object == Py_True);
  if (PyLong_Check(object)) return integer(object, step);
  if (PyFloat_Check(object)) return Value(PyFloat_AS_DOUBLE(object));
  if (isBytes(object)) return Data(Buffer(object).bytes());
  if (PyList_Check(object) || PyTuple_Check(object)) return sequence(object, step);
  if (isDatetime(object)) return date(object, step);
  if (object == Py_None) refuse(PyExc_TypeError, step, "None is not allowed; leave out absent values");
  if (isMapping(object)) return mapping(object, step);
  refuse(PyExc_TypeError, step, "unsupported type " + typeNameOf(object));
}

// A time zone implemented in Python may change a list or dictionary while it is being read. So each step checks the
// size again and holds a reference to the element, unless it is one whose conversion runs no Python code.
py::object held(PyObject* object) {
  const bool runsNone = PyUnicode_Check(object) || PyLong_Check(object);
  return runsNone ? py::object() : py::reinterpret_borrow<py::object>(object);
}

Value Converter::sequence(PyObject* object, const Step* step) {
  const Level level(*this, step);
  Array array;
  array.reserve(static_cast<std::size_t>(PySequence_Fast_GET_SIZE(object)));
  for (Py_ssize_t i = 0; i < PySequence_Fast_GET_SIZE(object); ++i) {
    PyObject* const element = PySequence_Fast_GET_ITEM(object, i);
    const py::object reference = held(element);
    const Step below{step, nullptr, i};
    array.append(value(element, &below));
  }
  return array;
}

Value Converter::mapping(PyObject* object, const Step* step) {
  if (PyDict_CheckExact(object)) return exactDictionary(object, step);
  if (py::isinstance<FrozenDictionary>(object)) {
    return frozen(py::handle(object).cast<const FrozenDictionary&>().contents, step);
  }
  return otherMapping(object, step);
}

Dictionary Converter::exactDictionary(PyObject* object, const Step* step) {
  const Level level(*this, step);
  std::vector<std::pair<Value, Value>> entries;
  entries.reserve(static_cast<std::size_t>(PyDict_Size(object)));
  PyObject* key = nullptr;
  PyObject* element = nullptr;
  for (Py_ssize_t position = 0; PyDict_Next(object, &position, &key, &element) != 0;) {
    const py::object reference = held(element);
    const auto heldKey = reference ? py::reinterpret_borrow<py::object>(key) : py::object();
    entries.push_back(entry(key, element, step));
  }
  return ValueMaker::dictionary(std::move(entries));
}

Dictionary Converter::otherMapping(PyObject* object, const Step* step) {
  const Level level(*this, step);
  const py::object items = fromPython([&] { return PyMapping_Items(object); });
  std::vector<std::pair<Value, Value>> entries;
  for (const py::handle item : items) {
    if (!PyTuple_Check(item.ptr()) || PyTuple_GET_SIZE(item.ptr()) != 2) {
      refuse(PyExc_TypeError, step, "items() returned " + reprOf(item) + ", which is not a pair");
    }
    const auto pair = py::reinterpret_borrow<py::object>(item);
    entries.push_back(entry(PyTuple_GET_ITEM(pair.ptr(), 0), PyTuple_GET_ITEM(pair.ptr(), 1), step));
  }
  return ValueMaker::dictionary(std::move(entries));
}

std::pair<Value, Value> Converter::entry(PyObject* key, PyObject* object, const Step* step) {
  if (!PyUnicode_Check(key)) {
    refuse(PyExc_TypeError, step, "the key " + reprOf(key) + " is of type " + typeNameOf(key) + ", not str");
  }
  const Step below{step, key, 0};
  Value element = value(object, &below);
  return {text(key, &below), std::move(element)};
}

// A frozen dictionary needs no conversion, but its values count toward the limits.
Value Converter::frozen(const Dictionary& dictionary, const Step* step) {
  Value whole(dictionary);
  if (step != nullptr) admit(whole, step);
  return whole;
}

void Converter::admit(const Value& value, const Step* step) {
  count(step);
  const Array* const array = value.ifArray();
  const Dictionary* const dictionary = value.ifDictionary();
  if (array == nullptr && dictionary == nullptr) return;
  const Level level(*this, step);
  if (array != nullptr) {
    for (const Value& element : *array) admit(element, step);
  } else {
    for (const auto [key, element] : *dictionary) admit(element, step);
  }
}

Value Converter::otherText(PyObject* object, const Step* step) {
  Py_ssize_t size = 0;
  const char* const characters = PyUnicode_AsUTF8AndSize(object, &size);
  if (characters == nullptr) {
    PyErr_Clear();
    refuse(PyExc_ValueError, step, "the text contains an unpaired surrogate");
  }
  return maker_.string({characters, static_cast<std::size_t>(size)});
}

Value Converter::integer(PyObject* object, const Step* step) const {
  int overflow = 0;
  const long long number = PyLong_AsLongLongAndOverflow(object, &overflow);
  if (overflow != 0) refuse(PyExc_OverflowError, step, "the integer is out of range (signed 64-bit)");
  return Value(number);
}

Value Converter::date(PyObject* object, const Step* step) const {
  const std::optional<Date> date = toDate(object);
  if (!date) {
    refuse(PyExc_ValueError, step,
           "a datetime without a time zone is not a point in time; for UTC, as read by plistlib, add "
           ".replace(tzinfo=datetime.timezone.utc)");
  }
  return *date;
}

void Converter::refuseCount(const Step* step) const {
  refuse(PyExc_ValueError, step, "more than " + std::to_string(kMostValues) + " values in total");
}

bool Converter::isMapping(PyObject* object) {
  if (PyDict_Check(object) || py::isinstance<FrozenDictionary>(object)) return true;
  const py::object mapping = imported("collections.abc", "Mapping");
  const int is = orStay([&] { return PyObject_IsInstance(object, mapping.ptr()); });
  if (is < 0) throw py::error_already_set();
  return is != 0;
}

// An estimate.
std::size_t Converter::sizeOfTexts(PyObject* object) {
  constexpr std::size_t kPerEntry = 64;
  return PyDict_Check(object) ? kPerEntry * static_cast<std::size_t>(PyDict_Size(object)) : 0;
}

void Converter::refuse(PyObject* type, const Step* step, const std::string& why) const {
  PyErr_SetString(type, (where(step) + ": " + why).c_str());
  throw py::error_already_set();
}

// The path to a value; only the beginning of a long path.
std::string Converter::where(const Step* step) const {
  constexpr std::size_t kMostSteps = 10;
  std::vector<const Step*> way;
  for (; step != nullptr; step = step->above) way.push_back(step);
  std::string path = what_;
  for (std::size_t i = 0; i < way.size(); ++i) {
    if (i == kMostSteps) return path + "...";
    const Step& next = *way[way.size() - 1 - i];
    path += "[" + (next.key == nullptr ? std::to_string(next.index) : reprOf(next.key)) + "]";
  }
  return path;
}

// ---- Library to Python ----

// The keys of records, whose strings are made once.
struct KnownKey {
  std::string_view text;
  PyObject* object = nullptr;
};
std::array<KnownKey, 7> knownKeys = {
    {{"rule"}, {"result"}, {"actual"}, {"expected"}, {"hideResult"}, {"attributes"}, {"description"}}};

py::object owned(PyObject* object) {
  if (object == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(object);
}

py::object newText(std::string_view text) {
  return owned(PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), nullptr));
}

py::object newKey(std::string_view text) {
  for (const KnownKey& known : knownKeys) {
    if (known.text == text) return py::reinterpret_borrow<py::object>(known.object);
  }
  return newText(text);
}

py::object newBytes(std::span<const std::uint8_t> bytes) {
  return owned(
      PyBytes_FromStringAndSize(reinterpret_cast<const char*>(bytes.data()), static_cast<Py_ssize_t>(bytes.size())));
}

py::object newNumber(const Value& value) {
  if (const auto integer = value.ifInteger()) return owned(PyLong_FromLongLong(*integer));
  return owned(PyFloat_FromDouble(*value.ifReal()));
}

}  // namespace

Value toValue(py::handle object, const std::string& what) { return Converter(object, what).value(object); }

Dictionary toDictionary(py::handle object, const std::string& what) {
  return Converter(object, what).dictionary(object);
}

Data toData(py::handle object, const std::string& what) { return Converter(object, what).data(object); }

py::object toPython(const Value& value) {
  switch (value.kind()) {
    case Kind::kString:
      return newText(*value.ifString());
    case Kind::kNumber:
      return newNumber(value);
    case Kind::kBoolean:
      return py::bool_(*value.ifBoolean());
    case Kind::kData:
      return newBytes(value.ifData()->bytes());
    case Kind::kDate:
      return toDatetime(*value.ifDate());
    case Kind::kArray:
      return toPython(*value.ifArray());
    default:
      return toPython(*value.ifDictionary());
  }
}

py::dict toPython(const Dictionary& dictionary) {
  py::dict made;
  for (const auto [key, value] : dictionary) {
    if (PyDict_SetItem(made.ptr(), newKey(key).ptr(), toPython(value).ptr()) != 0) throw py::error_already_set();
  }
  return made;
}

py::list toPython(const Array& array) {
  py::list made(array.size());
  Py_ssize_t index = 0;
  for (const Value& element : array) PyList_SET_ITEM(made.ptr(), index++, toPython(element).release().ptr());
  return made;
}

py::str toText(std::string_view text) { return newText(text); }

void initializeConversion() {
  initializeDates();
  for (KnownKey& known : knownKeys) known.object = PyUnicode_InternFromString(known.text.data());
}

}  // namespace tavik::python
