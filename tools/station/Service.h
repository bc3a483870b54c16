/// @file
/// The service as a whole.
#ifndef TAVIK_STATION_SERVICE_H
#define TAVIK_STATION_SERVICE_H

#include "ExitStatus.h"
#include "commands/Serve.h"

namespace tavik::station {

/// Serves until a signal ends it. Throws `Failure` if it cannot start.
tool::ExitStatus serve(const tool::ServeOptions& options);

/// Writes the stored runs to standard output, one JSON object per line.
tool::ExitStatus exportRuns(const tool::ServeOptions& options);

}  // namespace tavik::station

#endif
