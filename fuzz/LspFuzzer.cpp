// Sessions of the language server. The input is a sequence of steps, each up to a record separator (0x1E):
//
//     o DOCUMENT TEXT                          opens a document: 'l'ibrary, 'r'ules, 'c'ases, 'w'orkspace file
//     e DOCUMENT LINE COLUMN LINE COLUMN TEXT  replaces a range
//     q DOCUMENT LINE COLUMN                   sends every kind of request for a position
//     h BYTES                                  bytes of the message stream
//     anything else                            sends a message
//
// Every request has one response, every message sent is JSON, and documents are checked after each step.

#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

#include "ExitStatus.h"
#include "lsp/Checker.h"
#include "lsp/Feature.h"
#include "lsp/MessageReader.h"
#include "lsp/Server.h"

namespace {

using tavik::tool::lsp::Json;

void require(bool condition) {
  if (!condition) std::abort();
}

class Session {
 public:
  Session() {
    ask("initialize", {{"capabilities", Json::object()}});
    tell("initialized", Json::object());
  }

  void step(std::string_view step) {
    const char what = step.empty() ? '\0' : step.front();
    if (what == 'o' && step.size() > 1) {
      tell("textDocument/didOpen",
           {{"textDocument", {{"uri", uri(step[1])}, {"version", 1}, {"text", step.substr(2)}}}});
    } else if (what == 'e' && step.size() > 5) {
      const Json range{{"start", position(step.substr(2))}, {"end", position(step.substr(4))}};
      tell("textDocument/didChange", {{"textDocument", {{"uri", uri(step[1])}}},
                                      {"contentChanges", {{{"range", range}, {"text", step.substr(6)}}}}});
    } else if (what == 'q' && step.size() > 3) {
      askEverything(uri(step[1]), position(step.substr(2)));
    } else if (what == 'h') {
      readStream(step.substr(1));
    } else {
      server_.receive(std::string(step));
      handleAll();
    }
    while (auto documents = server_.nextCheck()) server_.publish(checker_.check(*std::move(documents)));
  }

 private:
  static std::string uri(char document) {
    const std::string folder = "file:///no-such-folder/";
    if (document == 'l') return folder + "library.plist";
    if (document == 'r') return folder + "rules.plist";
    return folder + (document == 'c' ? "cases.json" : "tavik-workspace.json");
  }

  static Json position(std::string_view bytes) {
    return {{"line", static_cast<unsigned char>(bytes[0])}, {"character", static_cast<unsigned char>(bytes[1])}};
  }

  void askEverything(const std::string& uri, const Json& position) {
    const Json params{{"textDocument", {{"uri", uri}}},
                      {"position", position},
                      {"range", {{"start", position}, {"end", {{"line", 1000}, {"character", 0}}}}},
                      {"context", {{"includeDeclaration", true}}},
                      {"newName", "New name"}};
    for (const char* method : {"codeAction", "completion", "definition", "documentSymbol", "hover", "prepareRename",
                               "references", "rename"}) {
      ask(std::string("textDocument/") + method, params);
    }
  }

  void ask(const std::string& method, const Json& params) {
    answers_ = 0;
    send({{"id", "asked"}, {"method", method}, {"params", params}});
    require(answers_ == 1);
  }

  void tell(const std::string& method, const Json& params) { send({{"method", method}, {"params", params}}); }

  void send(const Json& message) {
    server_.receive(tavik::tool::lsp::jsonText(message));
    handleAll();
  }

  void handleAll() {
    while (server_.hasMessages()) server_.handleNext();
  }

  void readStream(std::string_view bytes) {
    tavik::tool::lsp::MessageReader reader;
    try {
      for (const char byte : bytes) {
        reader.add({&byte, 1});
        while (const auto message = reader.next()) server_.receive(*message);
      }
    } catch (const tavik::tool::Unusable&) {
      // end of the stream
    }
    handleAll();
  }

  void take(const std::string& text) {
    const Json message = Json::parse(text);
    if (message.value("id", Json()) == "asked") ++answers_;
  }

  int answers_ = 0;
  tavik::tool::lsp::Server server_{[this](const std::string& text) { take(text); }};
  tavik::tool::lsp::Checker checker_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Session session;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (!rest.empty()) {
    const std::string_view step = rest.substr(0, rest.find('\x1E'));
    session.step(step);
    rest.remove_prefix(std::min(step.size() + 1, rest.size()));
  }
  return 0;
}
