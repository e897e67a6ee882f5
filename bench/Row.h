/// What is measured: rows, each with contenders and the ratios that ours must reach.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// What the command line sets for all rows.
struct Settings
{
    int rounds = 5;
    double seconds = 1.0;          ///< of measuring, a contender and round
    double warmUpSeconds = 0.2;    ///< before that, not counted
    unsigned pipes = 4;            ///< that the 16 threads share
    std::vector<std::string> only; ///< contenders to run; empty for all
};

struct Contender
{
    std::string name;
    std::function<double(const Settings&)> measure;
};

enum class Better
{
    Higher,
    Lower,
};

/// What the first contender must reach: a multiple of another one's figure, or, with no name, a
/// figure of its own.
struct Threshold
{
    std::string against;
    double value = 0;
};

struct Row
{
    std::string name;
    std::string title;
    std::string unit;
    Better better = Better::Higher;
    std::vector<Contender> contenders; ///< ours first
    std::vector<Threshold> thresholds;
    std::string note;
    int decimals = 0;
};

/// The rows in the order of the table; each is defined in a file of its own under rows/.
std::vector<Row> allRows();

} // namespace bench
