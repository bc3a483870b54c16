/// @file
/// A session of the language server on standard input and output.
#ifndef TAVIK_TOOL_LSP_SESSION_H
#define TAVIK_TOOL_LSP_SESSION_H

namespace tavik::tool::lsp {

/// Serves until the client sends "exit" or closes standard input; returns whether it sent "shutdown" and "exit". Throws
/// `Unusable` if the input is not a sequence of messages, or if standard output cannot be written.
bool serve();

}  // namespace tavik::tool::lsp

#endif
