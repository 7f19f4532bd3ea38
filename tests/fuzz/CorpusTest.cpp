#include "tests/fuzz/Targets.h"

#include <QDir>
#include <QTest>

using namespace velmora::testing;
using namespace Qt::StringLiterals;

/// Feeds each target with the inputs that fuzzing starts from, those that once broke something among them.
class CorpusTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void inputs()
    {
        for (const FuzzTarget &target : fuzzTargets()) {
            const QDir folder(QStringLiteral(VELMORA_CORPUS "/") + QString::fromLatin1(target.name));
            const QStringList names = folder.entryList(QDir::Files);
            QVERIFY2(!names.isEmpty(), target.name);
            for (const QString &name : names) {
                QFile file(folder.filePath(name));
                QVERIFY(file.open(QIODevice::ReadOnly));
                // A broken promise ends the process: the last line tells where.
                qInfo("%s/%s", target.name, qPrintable(name));
                target.feed(file.readAll());
            }
        }
    }
};

QTEST_GUILESS_MAIN(CorpusTest)
#include "CorpusTest.moc"
