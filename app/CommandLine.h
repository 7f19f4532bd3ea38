#pragma once

#include <optional>

namespace velmora {

/// Answers the arguments that ask for something on the terminal; needs neither a display nor an application
/// object. Returns the exit status: 0, 1 when something could not be forgotten, 2 for arguments that are not
/// understood. No status means that the arguments ask for the client.
std::optional<int> answerOnTerminal(int argc, char *argv[]);

} // namespace velmora
