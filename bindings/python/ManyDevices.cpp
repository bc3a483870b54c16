// Checks of many devices: check_many, verdicts and check_lines.

#include <tavik/DeviceLine.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <thread>

#include "Conversion.h"
#include "InterpreterLock.h"
#include "Prepared.h"
#include "Result.h"
#include "Threads.h"

namespace tavik::python {
namespace {

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

>>> lines = ['{"id": 7, "attributes": {"ModelNumber": "MX101"}}', "{}"]
>>> import json
>>> [json.loads(line).get("verdict") for line in kernel.prepare(rules).check_lines(lines)]
['failed', None]

A line that cannot be used gives {"id": ..., "input_error": "..."}. While a result is being used, the next lines are
checked: up to 64 per thread are read ahead. An Exception raised by the iterable follows the results of the lines
before it. Other threads continue meanwhile, and Ctrl-C ends the call.)";

std::size_t threadsOf(py::handle wanted) {
  constexpr Py_ssize_t kMost = 256;
  if (wanted.is_none()) return std::max(1U, std::thread::hardware_concurrency());
  const Py_ssize_t count = PyNumber_AsSsize_t(wanted.ptr(), nullptr);
  if (PyErr_Occurred() != nullptr) throw py::error_already_set();
  if (count < 1) throw py::value_error("threads: must be at least 1");
  return static_cast<std::size_t>(std::min(count, kMost));
}

py::object iteratorOf(py::handle iterable) {
  return fromPython([&] { return PyObject_GetIter(iterable.ptr()); });
}

// Null at the end.
py::object nextOf(const py::object& iterator) {
  PyObject* const next = orStay([&] { return PyIter_Next(iterator.ptr()); });
  if (next == nullptr && PyErr_Occurred() != nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(next);
}

constexpr auto kYieldInterval = std::chrono::milliseconds(10);

// Lets other threads run, and Ctrl-C end the call, in a loop that holds the interpreter lock.
void yieldRegularly(Interval& interval) {
  if (!interval.isOver()) return;
  { const Unlocked unlocked; }
  if (orStay(PyErr_CheckSignals) != 0) throw py::error_already_set();
}

// ---- Dictionaries ----

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

// Small enough to stay in a processor's cache.
template <class Kept>
struct DevicePiece {
  static constexpr std::size_t kMostEntries = 1024;

  std::vector<Device> devices;
  std::size_t entries = 0;
  std::vector<Kept> kept;

  [[nodiscard]] std::size_t size() const noexcept { return devices.size(); }
  [[nodiscard]] bool isFull(std::size_t items) const noexcept { return size() >= items || entries >= kMostEntries; }
  void clear() noexcept {
    devices.clear();
    entries = 0;
    kept.clear();
  }
};

// Checks devices and makes a list with one object per device. keep: what is needed of an outcome, called without the
// interpreter lock. toObject: makes the object from it.
template <auto keep, auto toObject>
class DeviceList {
 public:
  DeviceList(const Prepared& prepared, py::handle devices, py::handle threads)
      : pipeline_(threadsOf(threads),
                  [rules = prepared.rules](Piece& piece, std::size_t index) {
                    const auto& [attributes, sources] = piece.devices[index];
                    piece.kept[index] = keep(rules->run(attributes, pointerTo(sources)));
                  }),
        devices_(iteratorOf(devices)) {
    prepared.platform->askWhetherItLogs();
  }

  py::list checked() && {
    while (true) {
      convertDevices();
      if (pipeline_.isEmpty()) return std::move(objects_);
      addObjects(pipeline_.next());
      pipeline_.release();
    }
  }

 private:
  using Piece = DevicePiece<decltype(keep(CheckOutcome()))>;

  void convertDevices();
  void convertDevice(py::handle device, Piece& piece);
  void addObjects(const typename Pipeline<Piece>::Finished& finished);

  Pipeline<Piece> pipeline_;
  py::object devices_;  // an iterator; null at its end
  std::size_t count_ = 0;
  py::list objects_;
  Interval interval_{kYieldInterval};
};

// Fills the window.
template <auto keep, auto toObject>
void DeviceList<keep, toObject>::convertDevices() {
  while (Piece* const piece = devices_ ? pipeline_.room() : nullptr) {
    while (devices_ && !piece->isFull(pipeline_.wantedItems())) {
      if (const py::object device = nextOf(devices_)) {
        convertDevice(device, *piece);
      } else {
        devices_ = {};
      }
    }
    piece->kept.resize(piece->size());
    if (piece->size() != 0) pipeline_.add();
  }
}

template <auto keep, auto toObject>
void DeviceList<keep, toObject>::convertDevice(py::handle device, Piece& piece) {
  piece.devices.push_back(deviceOf(device, "devices[" + std::to_string(count_++) + "]"));
  piece.entries += piece.devices.back().attributes.size();
  yieldRegularly(interval_);
}

template <auto keep, auto toObject>
void DeviceList<keep, toObject>::addObjects(const typename Pipeline<Piece>::Finished& finished) {
  for (std::size_t i = 0; i < finished.items; ++i) {
    objects_.append(toObject(std::move(finished.piece.kept[i])));
    yieldRegularly(interval_);
  }
}

template <auto keep, auto toObject>
py::list checkDevices(const Prepared& self, py::handle devices, py::handle threads) {
  return DeviceList<keep, toObject>(self, devices, threads).checked();
}

CheckOutcome wholeOutcome(CheckOutcome outcome) { return outcome; }
Verdict verdictOf(const CheckOutcome& outcome) { return outcome.verdict; }
py::object toWord(Verdict verdict) { return toText(wordOf(verdict)); }

// ---- Lines ----

// Where lines come from: an iterable of str and bytes.
class LineSource {
 public:
  explicit LineSource(py::handle lines) {
    if (Py_TYPE(lines.ptr()) == reinterpret_cast<PyTypeObject*>(imported("io", "BufferedReader").ptr())) {
      read_ = attributeOf(lines, "read1");
    } else {
      lines_ = iteratorOf(lines);
    }
  }

  // A line, valid until the next call. Absent at the end.
  std::optional<std::string_view> next() { return read_ ? nextOfBlocks() : nextOfIterator(); }

 private:
  static constexpr Py_ssize_t kBlockSize = Py_ssize_t{1} << 16;

  std::optional<std::string_view> nextOfIterator();
  std::optional<std::string_view> nextOfBlocks();
  std::string_view nextBlock();

  py::object lines_;  // an iterator
  std::size_t taken_ = 0;
  py::object read_;        // of a file in binary mode; it is much faster by blocks than by lines
  py::object held_;        // a line or block
  std::string_view rest_;  // of the block
  std::string begin_;      // of a line that continues in the next block
};

std::optional<std::string_view> LineSource::nextOfIterator() {
  held_ = nextOf(lines_);
  if (!held_) return std::nullopt;
  Py_ssize_t size = 0;
  const char* bytes = nullptr;
  if (PyBytes_Check(held_.ptr())) {
    bytes = PyBytes_AS_STRING(held_.ptr());
    size = PyBytes_GET_SIZE(held_.ptr());
  } else if (PyUnicode_Check(held_.ptr())) {
    bytes = PyUnicode_AsUTF8AndSize(held_.ptr(), &size);
    if (bytes == nullptr) throw py::error_already_set();
  } else {
    throw py::type_error("lines[" + std::to_string(taken_) + "]: expected str or bytes");
  }
  ++taken_;
  return std::string_view(bytes, static_cast<std::size_t>(size));
}

std::optional<std::string_view> LineSource::nextOfBlocks() {
  std::size_t end = rest_.find('\n');
  begin_.clear();
  while (end == std::string_view::npos) {
    begin_ += rest_;
    rest_ = nextBlock();
    if (rest_.empty()) return begin_.empty() ? std::nullopt : std::optional<std::string_view>(begin_);
    end = rest_.find('\n');
  }
  std::string_view line = rest_.substr(0, end + 1);
  rest_.remove_prefix(line.size());
  if (!begin_.empty()) line = begin_ += line;
  return line;
}

// Empty at the end of the file.
std::string_view LineSource::nextBlock() {
  held_ = fromPython([&] { return PyObject_CallFunction(read_.ptr(), "n", kBlockSize); });
  if (held_.is_none()) return {};  // nothing is available in non-blocking mode
  return {PyBytes_AS_STRING(held_.ptr()), static_cast<std::size_t>(PyBytes_GET_SIZE(held_.ptr()))};
}

// Texts in one block, which is reused.
class Texts {
 public:
  [[nodiscard]] std::size_t size() const noexcept { return ends_.size(); }
  [[nodiscard]] std::size_t bytes() const noexcept { return block_.size(); }
  [[nodiscard]] std::string_view operator[](std::size_t index) const noexcept {
    const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
    return std::string_view(block_).substr(begin, ends_[index] - begin);
  }
  // Calls `append`, which appends one text to the block.
  template <class Append>
  void add(Append append) {
    append(block_);
    ends_.push_back(block_.size());
  }
  void clear() noexcept {
    if (block_.capacity() > kMostKept) block_ = std::string();
    block_.clear();
    ends_.clear();
  }

 private:
  static constexpr std::size_t kMostKept = std::size_t{1} << 20;

  std::string block_;
  std::vector<std::size_t> ends_;
};

struct LinePiece {
  static constexpr std::size_t kMostText = std::size_t{1} << 16;

  Texts lines;
  std::vector<std::size_t> numbers;
  Texts results;

  [[nodiscard]] std::size_t size() const noexcept { return lines.size(); }
  [[nodiscard]] bool isFull(std::size_t items) const noexcept { return size() >= items || lines.bytes() >= kMostText; }
  void clear() noexcept {
    lines.clear();
    numbers.clear();
    results.clear();
  }
};

// The results of lines, in lists. Iterated by a generator, which ends after an exception.
class CheckedLines {
 public:
  using MadeByInit = CheckedLines;

  CheckedLines(const Prepared& prepared, py::handle lines, py::handle threads)
      : platform_(prepared.platform),
        lines_(LineSource(lines)),
        pipeline_(threadsOf(threads),
                  [rules = prepared.rules](LinePiece& piece, std::size_t index) { checkItem(*rules, piece, index); }) {}

  py::list next();

 private:
  static void checkItem(const PreparedRules& rules, LinePiece& piece, std::size_t index);
  void readPieces();
  void readPiece(LinePiece& piece);
  void readLines(LinePiece& piece);

  std::shared_ptr<HostPlatform> platform_;
  std::optional<LineSource> lines_;  // absent at its end
  std::exception_ptr whyEnd_;
  std::size_t taken_ = 0;
  Pipeline<LinePiece> pipeline_;
  bool isReturned_ = false;  // the oldest piece
  Interval interval_{kYieldInterval};
};

py::list CheckedLines::next() {
  if (pipeline_.isForked()) throw std::runtime_error("check_lines: the iterator belongs to the parent process");
  if (std::exchange(isReturned_, false)) pipeline_.release();
  readPieces();
  if (pipeline_.isEmpty()) {
    if (whyEnd_ != nullptr) std::rethrow_exception(whyEnd_);
    throw py::stop_iteration();
  }
  const auto [piece, count] = pipeline_.next();
  isReturned_ = true;
  py::list results(count);
  for (std::size_t i = 0; i < count; ++i) {
    PyList_SET_ITEM(results.ptr(), static_cast<Py_ssize_t>(i), toText(piece.results[i]).release().ptr());
  }
  return results;
}

// Fills the window.
void CheckedLines::readPieces() {
  while (LinePiece* const piece = lines_ ? pipeline_.room() : nullptr) {
    readPiece(*piece);
    if (piece->size() == 0) continue;
    platform_->askWhetherItLogs();
    pipeline_.add();
  }
}

// An exception is raised after the results of the lines before it, unless it is one, such as KeyboardInterrupt, that
// must not be delayed.
void CheckedLines::readPiece(LinePiece& piece) {
  try {
    readLines(piece);
  } catch (const py::error_already_set& raised) {
    if (!raised.matches(PyExc_Exception)) throw;
    whyEnd_ = std::current_exception();
  } catch (const py::builtin_exception&) {
    whyEnd_ = std::current_exception();
  }
  if (whyEnd_ != nullptr) lines_.reset();
}

// Leaves out blank lines.
void CheckedLines::readLines(LinePiece& piece) {
  while (!piece.isFull(pipeline_.wantedItems())) {
    std::optional<std::string_view> line = lines_->next();
    if (!line) return lines_.reset();
    ++taken_;
    line = line->substr(0, line->find_last_not_of("\r\n") + 1);
    if (line->find_first_not_of(" \t\r") == std::string_view::npos) {
      yieldRegularly(interval_);
      continue;
    }
    piece.lines.add([&](std::string& block) { block += *line; });
    piece.numbers.push_back(taken_);
  }
}

void CheckedLines::checkItem(const PreparedRules& rules, LinePiece& piece, std::size_t index) {
  const std::size_t number = piece.numbers[index];
  piece.results.add([&](std::string& block) {
    if (appendJsonLine(block, checkLine(rules, piece.lines[index], number))) return;
    throw std::invalid_argument("line " + std::to_string(number) + ": JSON cannot represent the result");
  });
}

}  // namespace

void defineManyDevices(py::module_& module, py::class_<Prepared>& prepared) {
  const auto devices = py::arg("devices");
  const auto threads = py::arg("threads") = py::none();
  prepared.def("check_many", checkDevices<wholeOutcome, toResultOrException>, devices, threads, kCheckMany)
      .def("verdicts", checkDevices<verdictOf, toWord>, devices, threads, kVerdicts)
      .def(
          "check_lines",
          [](const Prepared& self, py::handle lines, py::handle count) {
            return callPython(imported("tavik._lines", "each"),
                              py::cast(std::make_unique<CheckedLines>(self, lines, count)));
          },
          py::arg("lines"), threads, kCheckLines);
  py::class_<CheckedLines>(module, "_CheckedLines")
      .def("__iter__", [](const py::object& self) { return self; })
      .def("__next__", &CheckedLines::next);
}

}  // namespace tavik::python
