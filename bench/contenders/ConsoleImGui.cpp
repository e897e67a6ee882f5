#include "bench/contenders/Console.h"

#include <imgui.h>
#include <stdexcept>

namespace bench {

namespace {

ImU32 colorOf(const zu::String& word)
{
    if (dm::scanInteger(word, 0) > 0 || dm::scanFloat(word, 0) > 0 || dm::scanHex(word, 0) > 0)
        return IM_COL32(160, 255, 255, 255);
    if (dm::scanQuoted(word, 0) > 0)
        return IM_COL32(128, 208, 208, 255);
    if (dm::scanIdentifier(word, 0) > 0 || dm::scanWhitespace(word, 0) > 0)
        return IM_COL32(208, 208, 96, 255);
    return IM_COL32(255, 255, 255, 255);
}

} // namespace

ImGuiConsole::ImGuiConsole()
{
    for (unsigned number = 0; number < dm::kMaxConsoleLines; ++number) {
        dm::WordList words;
        std::string line = ">" + consoleLine(number);
        line.pop_back();
        dm::tokenizeLine(words, line.c_str());
        auto& runs = lines.emplace_back();
        for (const auto& word : words)
            runs.push_back({colorOf(word), std::string(word.view())});
    }
    ImGui::CreateContext();
    ImGuiIO& io = ImGui::GetIO();
    io.IniFilename = nullptr;
    io.DisplaySize = {1920, 1080};
    io.DeltaTime = 1.0f / 60;
    unsigned char* pixels = nullptr;
    int width = 0;
    int height = 0;
    io.Fonts->GetTexDataAsAlpha8(&pixels, &width, &height); // makes the font
}

ImGuiConsole::~ImGuiConsole() { ImGui::DestroyContext(); }

void ImGuiConsole::drawFrame()
{
    unsigned drawnLines = 0;
    ImGui::NewFrame();
    ImGui::PushStyleVar(ImGuiStyleVar_WindowPadding, {0, 0});
    ImGui::PushStyleVar(ImGuiStyleVar_ItemSpacing, {0, 0});
    ImGui::SetNextWindowPos({0, 0});
    ImGui::SetNextWindowSize({1000, ImGui::GetTextLineHeight() * kConsoleLinesOnScreen});
    ImGui::Begin("console", nullptr, ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize);
    ImGuiListClipper clipper;
    clipper.Begin(static_cast<int>(lines.size()), ImGui::GetTextLineHeight());
    while (clipper.Step())
        for (int i = clipper.DisplayStart; i < clipper.DisplayEnd; ++i, ++drawnLines) {
            bool isFirst = true;
            for (const Run& run : lines[static_cast<size_t>(i)]) {
                if (!isFirst)
                    ImGui::SameLine(0, 0);
                isFirst = false;
                ImGui::PushStyleColor(ImGuiCol_Text, run.color);
                ImGui::TextUnformatted(run.text.data(), run.text.data() + run.text.size());
                ImGui::PopStyleColor();
            }
        }
    ImGui::End();
    ImGui::PopStyleVar(2);
    ImGui::Render();
    // The first frames of a window find its size out.
    if (ImGui::GetFrameCount() > 10 && drawnLines != kConsoleLinesOnScreen)
        throw std::runtime_error("shows " + std::to_string(drawnLines) + " lines");
}

} // namespace bench
