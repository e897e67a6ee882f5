// A folder for one test, with the local file system on it.
#pragma once

#include <zul/LocalFileSystem.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <map>
#include <random>

class FileFixture : public testing::Test
{
protected:
    FileFixture()
    {
        std::random_device random;
        folder = std::filesystem::temp_directory_path() / ("zul-files-" + std::to_string(random()));
        std::filesystem::create_directories(folder);
        root = folder;
    }
    ~FileFixture() override { std::filesystem::remove_all(folder); }

    std::string at(const std::string& name) const { return (folder / name).string(); }

    std::string make(const std::string& name, const std::string& content = "") const
    {
        std::filesystem::create_directories((folder / name).parent_path());
        std::ofstream(folder / name, std::ios::binary) << content;
        return at(name);
    }

    std::string makeReadOnly(const std::string& name, const std::string& content) const
    {
        std::string path = make(name, content);
        using std::filesystem::perms;
        std::filesystem::permissions(path, perms::owner_read | perms::group_read);
        return path;
    }

    std::string contentOf(const std::string& name) const
    {
        std::ifstream file(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // Names in the folder, hidden ones included.
    std::vector<std::string> names() const
    {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            found.push_back(entry.path().filename().string());
        std::sort(found.begin(), found.end());
        return found;
    }

    // What is in a folder: contents by path below it, "/" for folders, and where links point.
    using Tree = std::map<std::string, std::string>;
    Tree treeOf(const std::string& name) const
    {
        Tree tree;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(at(name))) {
            const std::string below = entry.path().lexically_relative(at(name));
            if (entry.is_symlink())
                tree[below] = "-> " + std::filesystem::read_symlink(entry).string();
            else
                tree[below] = entry.is_directory() ? "/" : contentOf(name + "/" + below);
        }
        return tree;
    }

    // Paths relative to the folder.
    std::vector<std::string> relative(const zu::FileSystem::PathList& paths) const
    {
        std::vector<std::string> found;
        for (const auto& path : paths)
            found.push_back(std::filesystem::path(path.c_str()).lexically_relative(root));
        return found;
    }

    // What a search finds, each as "folder/" or "file SIZE".
    static std::vector<std::string> find(zu::FileSystem& in, const std::string& pattern)
    {
        std::vector<std::string> found;
        zu::FindFileHandle* entry = in.findFirstFile(pattern.c_str());
        for (; entry != nullptr; entry = in.findNextFile(entry))
            found.push_back(in.findGetFileName(entry) +
                            (in.findIsDirectory(entry)
                                 ? "/"
                                 : " " + std::to_string(in.findGetFileSize(entry))));
        return found;
    }

    std::filesystem::path folder;
    std::string root; // what the folder is called in the file system that is looked at
    zu::LocalFileSystem files;
};
