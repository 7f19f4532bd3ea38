#include "bench/Table.h"

#include <cstdio>

namespace velmora::bench {

using namespace Qt::StringLiterals;

namespace {

void printLine(const QString &figure, const QString &value, const QString &ratio, const QString &limit,
               const QString &verdict, const QString &command)
{
    const QString line = u"%1  %2  %3  %4  %5  %6\n"_s.arg(figure, -36)
                             .arg(value, -30)
                             .arg(ratio, 6)
                             .arg(limit, 13)
                             .arg(verdict, -6)
                             .arg(command);
    std::fputs(line.toUtf8().constData(), stdout);
    std::fflush(stdout);
}

} // namespace

Table::Table()
{
    printLine(u"figure"_s, u"value"_s, u"ratio"_s, u"limit"_s, {}, u"command"_s);
}

void Table::add(const Row &row)
{
    met = met && row.met;
    const QString verdict = row.limit.isEmpty() ? QString() : row.met ? u"met"_s : u"MISSED"_s;
    printLine(row.figure, row.value, QString::number(row.ratio, 'f', 3), row.limit, verdict,
              u"./dev bench latency %1"_s.arg(row.command));
}

} // namespace velmora::bench
