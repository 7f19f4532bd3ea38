#include "app/CommandLine.h"

#include "app/Cleanup.h"
#include "platform/Configuration.h"
#include "platform/Log.h"
#include "platform/ProcessInfo.h"
#include "platform/vpn/SystemNetworkVPNManager.h"

#include <QCoreApplication>
#include <QUrl>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr int notUnderstood = 2;

const QString helpName = u"help"_s;
const QString versionName = u"version"_s;
const QString cleanupName = u"cleanup"_s;

/// What QApplication and the window system's plugins take out of the arguments themselves.
QList<QCommandLineOption> optionsOfQt()
{
    QList<QCommandLineOption> options;
    for (const QString &name :
         {u"display"_s, u"geometry"_s, u"icon"_s, u"name"_s, u"platform"_s, u"platformpluginpath"_s,
          u"platformtheme"_s, u"plugin"_s, u"qwindowgeometry"_s, u"qwindowicon"_s, u"qwindowtitle"_s,
          u"session"_s, u"style"_s, u"stylesheet"_s, u"title"_s})
        options.append(QCommandLineOption(name, {}, name));
    for (const QString &name : {u"dograb"_s, u"nograb"_s, u"reverse"_s, u"widgetcount"_s})
        options.append(QCommandLineOption(name));
    for (QCommandLineOption &option : options)
        option.setFlags(QCommandLineOption::HiddenFromHelp);
    return options;
}

} // namespace

CommandLine::CommandLine(int argc, char *argv[])
{
    // Qt's options are long ones with a single dash.
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.setApplicationDescription(u"The desktop client of the Velmora VPN service."_s);
    parser.addOptions({
        {{u"h"_s, helpName}, u"Show this text."_s},
        {{u"v"_s, versionName}, u"Show the version and the service that it was built for."_s},
        {cleanupName, u"Remove the client's profile from NetworkManager, which ends its tunnel."_s},
    });
    parser.addOptions(optionsOfQt());

    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    if (!parser.parse(arguments))
        complaint = parser.errorText();
    else if (!parser.positionalArguments().isEmpty())
        complaint = u"Unexpected argument '%1'."_s.arg(parser.positionalArguments().constFirst());
}

bool CommandLine::startsClient() const
{
    return complaint.isEmpty() && !parser.isSet(helpName) && !parser.isSet(versionName) &&
           !parser.isSet(cleanupName);
}

int CommandLine::execute() const
{
    if (!complaint.isEmpty()) {
        printErrorLine(u"velmora: %1 See velmora --help."_s.arg(complaint));
        return notUnderstood;
    }
    if (parser.isSet(helpName)) {
        printLine(parser.helpText().trimmed());
        return 0;
    }
    if (parser.isSet(versionName)) {
        printLine(versionText());
        return 0;
    }
    return cleanUp();
}

QString CommandLine::versionText()
{
    return u"velmora %1\nAPI host: %2\nweb site host: %3"_s.arg(
        configuration::version(), QUrl(configuration::apiBaseUrl()).authority(), configuration::webHost());
}

int CommandLine::cleanUp()
{
    if (!ProcessInfo::runsOnGLib())
        return 1;
    const std::unique_ptr<VPNManager> manager =
        std::make_unique<SystemNetworkVPNManager>(SystemNetworkVPNManager::Secrets::None);
    Cleanup cleanup(*manager);
    QObject::connect(&cleanup, &Cleanup::finished, qApp, &QCoreApplication::exit);
    cleanup.begin();
    return QCoreApplication::exec();
}

} // namespace velmora
