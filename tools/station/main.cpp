// The program of the station service, which `tavik serve` executes.

#include <clocale>
#include <csignal>
#include <exception>
#include <string>

#include "Service.h"
#include "ServiceManager.h"
#include "io/StandardError.h"
#include "text/Text.h"

namespace {

using tavik::tool::ExitStatus;

ExitStatus run(int argc, char** argv) {
  CLI::App app("The station service of tavik; use \"tavik serve\".");
  tavik::tool::ServeOptions options;
  addServeOptions(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    throw tavik::tool::Unusable(std::string(error.what()) + "; see tavik serve --help");
  }
  return options.exportsRuns ? tavik::station::exportRuns(options) : tavik::station::serve(options);
}

/// Says why the service ends.
void report(const std::string& reason) {
  tavik::tool::printToStandardError("serve", reason);
  tavik::station::notifyServiceManager("STATUS=" + tavik::tool::visible(reason));
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");  // for the display width of characters
  std::signal(SIGPIPE, SIG_IGN);        // a closed connection is an error of write(2),
  std::signal(SIGXFSZ, SIG_IGN);        // and so is a file that may not grow
  ExitStatus status = ExitStatus::kUnusable;
  try {
    status = run(argc, argv);
  } catch (const tavik::tool::ReaderGone& failure) {
    status = failure.status();
  } catch (const tavik::tool::Failure& failure) {
    report(failure.what());
    status = failure.status();
  } catch (const std::exception& error) {
    report(error.what());
  }
  return static_cast<int>(status);
}
