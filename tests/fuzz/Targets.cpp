#include "tests/fuzz/Targets.h"

#include "api/Records.h"
#include "platform/Log.h"
#include "platform/UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <nlohmann/json.hpp>

namespace velmora::testing {

using namespace Qt::StringLiterals;

namespace {

void require(bool so, const char *what)
{
    if (!so)
        fatalError(QString::fromLatin1(what));
}

template<class Record>
void feedRecord(const QByteArray &input)
{
    const Result<Record> record = decode<Record>(input);
    if (!record) {
        require(!record.error().message.isEmpty(), "a failure without a diagnosis");
        return;
    }
    require(nlohmann::json::accept(input.begin(), input.end()) && !input.contains('\0'),
            "decoded what is no JSON");
    const Result<Record> again = decode<Record>(encode(*record));
    require(again && *again == *record, "another record after encoding and decoding");
}

/// A settings file of any content is read, and emptied as a logout does it.
void feedSettings(const QByteArray &input)
{
    static const QTemporaryDir folder;
    static int files = 0;
    // The settings' own cache goes by the file's name.
    const QString home = folder.filePath(QString::number(++files));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home));
    QDir().mkpath(home);
    QFile file(UserDefaults::filePath());
    require(file.open(QIODevice::WriteOnly) && file.write(input) == input.size(), "no settings file");
    file.close();
    UserDefaults defaults = UserDefaults::standardUserDefaults();
    static_cast<void>(defaults.valueForKey(u"token"_s));
    const QStringList keys = defaults.dictionaryRepresentation().keys();
    for (const QString &key : keys)
        defaults.removeObjectForKey(key);
    defaults.synchronize();
    require(UserDefaults::standardUserDefaults().dictionaryRepresentation().isEmpty(), "a setting is left");
    QDir(home).removeRecursively();
}

constexpr FuzzTarget targets[] = {
    {"Token", feedRecord<Token>},
    {"Response", feedRecord<Response>},
    {"ServiceResponse", feedRecord<ServiceResponse>},
    {"FavServiceResponse", feedRecord<FavServiceResponse>},
    {"EndpointConnectResponse", feedRecord<EndpointConnectResponse>},
    {"settings", feedSettings},
};

} // namespace

std::span<const FuzzTarget> fuzzTargets()
{
    return targets;
}

} // namespace velmora::testing
