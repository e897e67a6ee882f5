#include "bench/Report.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

namespace bench {
namespace {

bool isWanted(const Contender& contender, const Settings& settings)
{
    return settings.only.empty() ||
           std::ranges::find(settings.only, contender.name) != settings.only.end();
}

struct Verdict
{
    double ratio = 0; ///< to the other contender, or our own figure for an absolute threshold
    double needed = 0;
    bool passed = false;
};

/// The median of the ratios within each round: pairs taken side by side drift together.
std::optional<double> medianRatio(const RowResult& result, const std::string& against)
{
    const auto ours = result.figures.find(result.row.contenders.front().name);
    const auto theirs = result.figures.find(against);
    if (ours == result.figures.end() || theirs == result.figures.end())
        return {};
    std::vector<double> ratios;
    for (size_t round = 0; round < std::min(ours->second.size(), theirs->second.size()); ++round)
        if (theirs->second[round] > 0)
            ratios.push_back(ours->second[round] / theirs->second[round]);
    return ratios.empty() ? std::nullopt : std::optional(median(ratios));
}

/// How the first contender stands against the named one; "" asks for its threshold in itself.
std::optional<Verdict> judge(const RowResult& result, const std::string& against)
{
    const auto threshold = std::ranges::find(result.row.thresholds, against, &Threshold::against);
    if (threshold == result.row.thresholds.end())
        return {};
    Verdict verdict;
    verdict.needed = threshold->value;
    if (against.empty()) {
        const auto ours = result.figures.find(result.row.contenders.front().name);
        if (ours == result.figures.end())
            return {};
        verdict.ratio = median(ours->second);
    } else {
        const auto ratio = medianRatio(result, against);
        if (!ratio)
            return {};
        verdict.ratio = *ratio;
    }
    verdict.passed = result.row.better == Better::Higher ? verdict.ratio >= verdict.needed
                                                         : verdict.ratio <= verdict.needed;
    return verdict;
}

const char* sign(const Row& row) { return row.better == Better::Higher ? ">=" : "<="; }
const char* word(const Verdict& verdict) { return verdict.passed ? "PASS" : "short"; }

std::string grouped(double value, int decimals)
{
    char digits[64];
    std::snprintf(digits, sizeof digits, "%.*f", decimals, value);
    const std::string_view plain = digits;
    const size_t point = std::min(plain.find('.'), plain.size());
    std::string text;
    for (size_t i = 0; i < plain.size(); ++i) {
        if (i > 0 && i < point && (point - i) % 3 == 0)
            text += ',';
        text += plain[i];
    }
    return text;
}

void printContender(const RowResult& result, const Contender& contender)
{
    const Row& row = result.row;
    if (const auto failure = result.failures.find(contender.name); failure != result.failures.end())
    {
        std::printf("  %-18s %s\n", contender.name.c_str(), failure->second.c_str());
        return;
    }
    const auto found = result.figures.find(contender.name);
    if (found == result.figures.end())
        return;
    const auto [low, high] = std::ranges::minmax(found->second);
    std::printf("  %-18s %14s  (%s .. %s)", contender.name.c_str(),
                grouped(median(found->second), row.decimals).c_str(),
                grouped(low, row.decimals).c_str(), grouped(high, row.decimals).c_str());
    const bool isOurs = contender.name == row.contenders.front().name;
    if (const auto ratio = isOurs ? std::nullopt : medianRatio(result, contender.name))
        std::printf("  ours is %.2f x", *ratio);
    if (const auto verdict = judge(result, isOurs ? "" : contender.name)) {
        if (isOurs)
            std::printf("  needs %s %s  %s", sign(row),
                        grouped(verdict->needed, row.decimals).c_str(), word(*verdict));
        else
            std::printf(", needs %s %.2f  %s", sign(row), verdict->needed, word(*verdict));
    }
    std::printf("\n");
}

nlohmann::ordered_json contenderJson(const RowResult& result, const Contender& contender)
{
    nlohmann::ordered_json json{{"name", contender.name}};
    if (const auto failure = result.failures.find(contender.name); failure != result.failures.end())
        json["failure"] = failure->second;
    const auto found = result.figures.find(contender.name);
    if (found == result.figures.end())
        return json;
    json["median"] = median(found->second);
    json["rounds"] = found->second;
    const bool isOurs = contender.name == result.row.contenders.front().name;
    if (const auto ratio = isOurs ? std::nullopt : medianRatio(result, contender.name))
        json["ratio"] = *ratio;
    if (const auto verdict = judge(result, isOurs ? "" : contender.name)) {
        json["needs"] = verdict->needed;
        json["passed"] = verdict->passed;
    }
    return json;
}

} // namespace

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::ranges::sort(values);
    const size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

RowResult runRow(const Row& row, const Settings& settings)
{
    RowResult result{row, {}, {}};
    for (int round = 0; round < settings.rounds; ++round) {
        for (const Contender& contender : row.contenders) {
            if (!isWanted(contender, settings) || result.failures.contains(contender.name))
                continue;
            try {
                const double figure = contender.measure(settings);
                result.figures[contender.name].push_back(figure);
            } catch (const std::exception& failure) {
                result.failures[contender.name] = failure.what();
            }
        }
    }
    return result;
}

void printText(const RowResult& result)
{
    std::printf("%s: %s, %s\n", result.row.name.c_str(), result.row.title.c_str(),
                result.row.unit.c_str());
    for (const Contender& contender : result.row.contenders)
        printContender(result, contender);
    if (!result.row.note.empty())
        std::printf("  %s\n", result.row.note.c_str());
    std::printf("\n");
    std::fflush(stdout);
}

std::string toJson(const std::vector<RowResult>& results)
{
    auto rows = nlohmann::ordered_json::array();
    for (const RowResult& result : results) {
        auto contenders = nlohmann::ordered_json::array();
        for (const Contender& contender : result.row.contenders)
            contenders.push_back(contenderJson(result, contender));
        rows.push_back({{"row", result.row.name},
                        {"title", result.row.title},
                        {"unit", result.row.unit},
                        {"better", result.row.better == Better::Higher ? "higher" : "lower"},
                        {"contenders", std::move(contenders)}});
    }
    return rows.dump(2);
}

} // namespace bench
