// Feeds the decoders and the settings file with input of any kind, and ends where the outcome is not one that
// they promise. The test replays the corpus, from which libFuzzer's program goes on:
// velmora-fuzz --target=NAME [FLAGS] FOLDER…
#include "api/Records.h"
#include "platform/Log.h"
#include "platform/UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <nlohmann/json.hpp>

using namespace velmora;
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
    require(again && encode(*again) == encode(*record), "another record after encoding and decoding");
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

constexpr struct Target
{
    const char *name;
    void (*feed)(const QByteArray &input);
} targets[] = {
    {"Token", feedRecord<Token>},
    {"Response", feedRecord<Response>},
    {"ServiceResponse", feedRecord<ServiceResponse>},
    {"FavServiceResponse", feedRecord<FavServiceResponse>},
    {"EndpointConnectResponse", feedRecord<EndpointConnectResponse>},
    {"settings", feedSettings},
};

} // namespace

#ifdef VELMORA_CORPUS

int main()
{
    for (const Target &target : targets) {
        const QDir folder(QStringLiteral(VELMORA_CORPUS "/") + QString::fromLatin1(target.name));
        const QStringList names = folder.entryList(QDir::Files);
        require(!names.isEmpty(), "an empty corpus");
        for (const QString &name : names) {
            qInfo("%s/%s", target.name, qPrintable(name));
            QFile file(folder.filePath(name));
            require(file.open(QIODevice::ReadOnly), "an unreadable file");
            target.feed(file.readAll());
        }
    }
}

#else

const Target *target = nullptr;

extern "C" int LLVMFuzzerInitialize(const int *argc, char ***argv)
{
    for (int index = 1; index < *argc; ++index) {
        for (const Target &one : targets) {
            if ((*argv)[index] == "--target=" + QByteArray(one.name))
                target = &one;
        }
    }
    require(target != nullptr, "--target=NAME is missing");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const char *data, size_t size)
{
    target->feed(QByteArray(data, static_cast<qsizetype>(size)));
    return 0;
}

#endif
