#include "tools/fileserver/FolderMaps.h"

#include "zul/FileFixture.h"

using namespace fileserver;

namespace {

class FolderMapsTest : public FileFixture
{
protected:
    // The name of the map and what follows it.
    std::string resolve(std::string_view path)
    {
        std::string_view rest;
        const FolderMap* const map = maps.resolve(path, rest);
        return map != nullptr ? map->getName() + '|' + std::string(rest) : "none";
    }

    FolderMaps maps{{}};
};

std::string parsed(std::string_view text)
{
    MapSpec mapping;
    std::string error;
    if (!parseMap(text, mapping, error))
        return "error";
    return mapping.name + '|' + mapping.folder + (mapping.isWritable ? "|rw" : "");
}

TEST(MapSpec, EndsTheNameAtTheFirstEqualsAndTheRightsAtTheVeryEnd)
{
    EXPECT_EQ(parsed("data=/home/me"), "data|/home/me");
    EXPECT_EQ(parsed("data=/a=b:rw/c:rw:rw"), "data|/a=b:rw/c:rw|rw");
    EXPECT_EQ(parsed("host:\\data/=.:rw/"), "host:\\data/|.:rw/");
    for (const std::string& text :
         std::vector<std::string>{"data", "=/home", "data=", "data=:rw", "a,b=/x", "a\"b=/x",
                                  "a\nb=/x", std::string(128, 'n') + "=/x"})
        EXPECT_EQ(parsed(text), "error") << text;
    EXPECT_EQ(parsed(std::string(127, 'n') + "=/x"), std::string(127, 'n') + "|/x");
}

TEST_F(FolderMapsTest, GivesAPathToTheLongestNameThatEndsWhereItsNamesDo)
{
    std::string error;
    for (const char* name : {"data", "Data/Levels", "DATA\\levels\\one", "slash/", "devkit:"})
        ASSERT_TRUE(maps.add({name, folder.string(), false}, error)) << error;
    using Row = std::pair<const char*, const char*>;
    for (const auto& [path, found] :
         {Row{"data", "data|"}, Row{"DATA\\x/y", "data|x/y"}, Row{"data/levelsx", "data|levelsx"},
          Row{"data\\LEVELS//x", "Data/Levels|x"}, Row{"data/levels/one/x", "DATA\\levels\\one|x"},
          Row{"slash", "slash/|"}, Row{"slash\\", "slash/|"}, Row{"slash/x", "slash/|x"},
          Row{"devkit:/../x", "devkit:|../x"}}) // the folder's to judge
        EXPECT_EQ(resolve(path), found);
    for (const char* path : {"", "/", "dat", "database/x", "./data", "/data", "data.", "slashx"})
        EXPECT_EQ(resolve(path), "none") << path;
}

} // namespace
