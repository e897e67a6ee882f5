#include "dm/console/Coloring.h"

#include "dm/console/KnownWords.h"

#include <gtest/gtest.h>
#include <string>

namespace {

TEST(Coloring, FollowsTheWord)
{
    dm::AliasMap aliases;
    dm::KnownWords known;
    for (const char* alias : {"set", "both", "e"})
        aliases[alias] = "x";
    for (const char* word : {"god", "both", "fee", "\xe5l"})
        known.add(word, false);

    // 0 plain, 1 quoted, 2 number, 3 known word, 4 other, 5 alias
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"SET x \"a b\" 0x1f 2.5", "500010202"},
        {"God gods both", "30005"},
        {". e f fee e2 feed face", "2020202020000"},
        {"0XAB 0xFF 0x -3 - -x 12ab", "00000020404000"},
        {".5 0x1;", "22024"},
        {"\"a = b", "400400"},
        {"\xe5L \xc5l \xfc\f\n", "3000440"},
    };
    for (const auto& [line, roles] : cases) {
        dm::console::ColoredLine colored;
        dm::console::colorLine(colored, line, aliases, known);
        std::string joined;
        std::string found;
        for (const auto& run : colored) {
            joined += colored.getText(run);
            for (size_t role = 0; role < dm::console::kPalette.size(); ++role)
                if (run.color == dm::console::kPalette[role])
                    found += static_cast<char>('0' + role);
        }
        EXPECT_EQ(found, roles) << line;
        EXPECT_EQ(joined, line);
    }
}

} // namespace
