#pragma once

#include <QCommandLineParser>

namespace velmora {

/// What the program was started with. It is read before any display is asked for, so that an answer on the
/// terminal needs none.
class CommandLine
{
public:
    CommandLine(int argc, char *argv[]);

    /// Whether the client itself is to start.
    bool startsClient() const;
    /// Does what else was asked for and returns the exit status: 0, 1 where a cleanup failed, 2 for arguments
    /// that are not understood. Needs the application object, and runs its event loop where it has to wait.
    int execute() const;

private:
    static QString versionText();
    static int cleanUp();

    QCommandLineParser parser;
    /// Why the arguments are not understood; empty where they are.
    QString complaint;
};

} // namespace velmora
