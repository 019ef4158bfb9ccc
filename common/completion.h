/// \file
/// Completion of a command line by its definition: what the shells ask a program for. Nothing is kept
/// between calls.
#ifndef DX7_COMMON_COMPLETION_H
#define DX7_COMMON_COMPLETION_H

#include <optional>

#include "common/command_line.h"

namespace dx7common {

/// The first argument of a program that is asked; what is typed follows it, without the program's name and
/// with the word that is begun (it may be empty) last.
constexpr const char* COMPLETION_ARGUMENT = "__complete";

/// What may be meant by the last of `words`: commands, the names and values of options and of the remaining
/// arguments. All candidates begin with that word.
Offer complete(const CommandLine& program, const std::vector<std::string>& words);

/// The answer to the shells. Its first line is "words", or "files" when the shell adds names of files. Each
/// candidate has a line: its text, and after a tab the words on it. Candidates with control characters are
/// left out.
std::string completionText(const Offer& offer);

/// The answer to arguments (argc and argv as main() has them) that begin with COMPLETION_ARGUMENT; empty for
/// others.
std::optional<std::string> answerToShell(const CommandLine& program, int argc, const char* const* argv);

}  // namespace dx7common

#endif
