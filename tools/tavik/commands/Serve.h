/// @file
/// The options of `tavik serve`, which the program of the station service shares with the command.
#ifndef TAVIK_TOOL_COMMANDS_SERVE_H
#define TAVIK_TOOL_COMMANDS_SERVE_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "rules/HostPlatform.h"

namespace tavik::tool {

struct ServeOptions {
  std::string library;
  std::vector<std::string> rules;
  std::string host = "127.0.0.1";
  std::uint16_t port = 8080;
  std::string database = "tavik-runs.db";
  std::optional<std::string> tokenFile;
  std::optional<std::string> tlsCertificate;
  std::optional<std::string> tlsKey;
  std::int64_t keepDays = 400;
  std::int64_t keepMebibytes = 10240;
  std::size_t mostConnections = 1024;
  std::string logFormat;
  std::optional<std::string> texts;
  bool allowUnstored = false;
  bool exportsRuns = false;
  PlatformOptions platform;
};

/// Defines the options, which write their values to `options`; it must live as long as `app`.
void addServeOptions(CLI::App& app, ServeOptions& options);

}  // namespace tavik::tool

#endif
