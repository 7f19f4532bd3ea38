#pragma once

#include <QString>

namespace velmora::bench {

/// Prints figures as they come, one line each, and remembers whether one missed its limit.
class Table
{
public:
    /// One figure: what was measured, how it relates to what it is compared with, and its limit in words,
    /// where there is one.
    struct Row
    {
        QString figure;
        QString value;
        double ratio;
        QString limit;
        bool met;
        /// The command that measures this figure alone.
        QString command;
    };

    Table();
    void add(const Row &row);
    bool allMet() const { return met; }

private:
    bool met = true;
};

} // namespace velmora::bench
