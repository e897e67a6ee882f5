/// Runs rows and prints what came out.
#pragma once

#include "bench/Row.h"

#include <map>
#include <string>
#include <vector>

namespace bench {

struct RowResult
{
    Row row;
    /// Figures of each contender, one a round, so that figures at one index were taken in turn.
    std::map<std::string, std::vector<double>> figures;
    std::map<std::string, std::string> failures;
};

double median(std::vector<double> values);

/// Measures all contenders in turn, round after round, so that a change of the machine's mood
/// meets all of them.
RowResult runRow(const Row& row, const Settings& settings);

void printText(const RowResult& result);
std::string toJson(const std::vector<RowResult>& results);

} // namespace bench
