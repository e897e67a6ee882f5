#include "tools/sandbox/Game.h"

#include "tools/dm/Version.h"
#include "tools/sandbox/CommandGroups.h"
#include "tools/sandbox/Latin1.h"

#include <zul/BufferedMemoryFile.h>
#include <zul/Profile.h>
#include <zul/Thread.h>
#include <zul/Timer.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace sandbox {

namespace {

constexpr float kMargin = 0.02f;
constexpr float kTextSize = 0.02f;
constexpr float kHeadlessFrameSeconds = 1.0f / 60;
constexpr float kLongestFrameSeconds = 0.1f;
constexpr int kWheelLines = 3;
constexpr size_t kMaxPastedBytes = 4096;
constexpr int kMaxAwaitSeconds = 120;

std::vector<ScriptStep> readScript(const std::string& path, SDL_Scancode consoleKey)
{
    if (path.empty())
        return {};
    const zu::BufferedMemoryFile file(path.c_str());
    try {
        return parseScript({static_cast<const char*>(file.getData()), file.getSize()}, consoleKey);
    } catch (const ScriptError& error) {
        throw ScriptError(path + ", " + error.what());
    }
}

Display::Kind displayKind(const Options& options)
{
    if (!options.isHeadless)
        return Display::Window;
    return options.hasLinks() ? Display::HeadlessAtLeisure : Display::Headless;
}

int sparksOf(const std::string& text)
{
    int count = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, count);
    if (error != std::errc() || stop != end || count < 1 ||
        count > static_cast<int>(Scene::kMaxSparks))
        throw CommandError("give a number from 1 to " + std::to_string(Scene::kMaxSparks));
    return count;
}

} // namespace

Game::Game(const Options& chosen)
    : options(chosen)
    , dataFolder(chosen.dataFolder, chosen.isHeadless)
    , display(displayKind(chosen), chosen.width, chosen.height)
    , shapes(display.renderer(), Font::findFile(chosen.font))
    , console(openConsole(shapes, kMargin, notice))
    , output(*console)
    , scene(variables)
    , sceneView(display.renderer())
    , caption(variables.addText("caption", "Shift+Escape opens the console", 80,
                                "What is written below the scene."))
    , showsRate(variables.addBool("fps", false, "Whether the frames per second are shown."))
    , commands(*console, output)
    , pipes(output, [this](const std::string& line) { return commands.runAndCapture(line); })
    , keys(chosen.consoleKey)
    , script(readScript(chosen.script, chosen.consoleKey))
{
    zu::setThreadName(zu::currentThreadId(), "game");
    if (options.printsToOutput)
        output.copyToStandardOutput();
    background =
        std::make_unique<Background>([this](const std::string& what) { output.print(what); });
    background->setImmediate(!options.files);
    addCommands();
    console->setIOInterface(&commands);
    openLinks();
    greet();
}

Game::~Game()
{
    console->setIOInterface(nullptr);
    pipes.close();
    background = nullptr;
    pipes.end();
    remoteFiles = nullptr;
    dm::setDataParserCallback(nullptr);
    dm::deinit();
    keepLines([this] { console->getScrollingTextWindow()->save(); });
}

void Game::addCommands()
{
    addConsoleCommands(commands, variables, *console, output);
    addVariableCommands(commands, variables, *console, output);
    addFileCommands(commands, *background, output);
    addPipeCommands(commands, pipes, *background, output);
    addProfileCommand(commands, output);
    commands.add({"burst", "[COUNT]", "Sends sparks into the sky.",
                  [this](const CommandText& text) {
                      constexpr int kSparks = 150;
                      scene.burst(text.words.empty() ? kSparks : sparksOf(text.rest));
                  },
                  true});
    commands.add({"screenshot", "FILE", "Writes a picture, a PNG file, of the next frame.",
                  [this](const CommandText& text) {
                      if (text.words.empty())
                          throw CommandError("into which file?");
                      enteredPictures.push_back(toUtf8(text.words[0]));
                  }});
    commands.add(
        {"quit", "", "Ends the game.", [this](const CommandText&) { isOver = true; }, false, true});
}

void Game::openLinks()
{
    dm::setResponseCapacityEnforced(true);
    if (options.monitorPort) {
        dm::setDataParserCallback(this);
        dm::init(*options.monitorPort);
    }
    if (options.pipePort && !pipes.listen(*options.pipePort))
        output.print("Port " + std::to_string(*options.pipePort) +
                     " cannot be had, so there are no pipes.");
    if (options.hub)
        pipes.join(options.hub->host, options.hub->port);
    if (options.files) {
        pipes.connect(options.files->host, options.files->port);
        remoteFiles = std::make_unique<RemoteFiles>(pipes, *background, output);
    }
}

void Game::greet()
{
    if (!notice.empty())
        output.print(toLatin1(notice));
    output.print(std::string("dm sandbox ") + tool::versionNumber());
    output.print("Enter help for what there is. Tab completes, Up and Down bring back what was "
                 "entered,");
    output.print("Page Up and Page Down scroll, Shift+Escape hides the console.");
    if (options.monitorPort)
        output.print(dm::getMonitorPort() != 0
                         ? "Tools watch on port " + std::to_string(dm::getMonitorPort()) + "."
                         : "Port " + std::to_string(*options.monitorPort) +
                               " cannot be had, so no tool can watch.");
    if (options.pipePort && pipes.isOpen())
        output.print("Pipes are open on port " + std::to_string(pipes.getPort()) + ".");
    if (options.hub)
        output.print("The hub " + toLatin1(options.hub->toString()) +
                     " is joined as soon as it is there.");
    if (options.files)
        output.print("The file server " + toLatin1(options.files->toString()) +
                     " is looked for; until it is there, files are this machine's.");
}

void Game::run()
{
    zu::Timer timer;
    while (!isOver) {
        const auto elapsed = static_cast<float>(timer.getElapsed());
        timer.restart();
        playFrame(display.isHeadless() ? kHeadlessFrameSeconds
                                       : std::min(elapsed, kLongestFrameSeconds));
        ++frame;
    }
}

void Game::parseData(const char* data)
{
    output.print("[tool] " + toLatin1(data));
    commands.runLine(toLatin1(data));
}

void Game::playFrame(float seconds)
{
    ZUL_PROFILE_FRAME();
    ZUL_PROFILE_ZONE("frame");
    const zu::Timer timer;
    {
        ZUL_PROFILE_ZONE("input");
        followScript();
        readEvents();
    }
    serveTools();
    {
        ZUL_PROFILE_ZONE("simulate");
        scene.advance(seconds);
    }
    draw();
    report(seconds, timer.getElapsed());
    {
        ZUL_PROFILE_ZONE("present");
        display.present();
    }
}

void Game::readEvents()
{
    SDL_Event event;
    while (SDL_PollEvent(&event) != 0)
        handle(event);
    // A dead key has begun a character, which the next key is not to complete. Not before all
    // events are read: stopping forgets the text that is waiting there.
    if (dropsComposition && !display.isHeadless()) {
        SDL_StopTextInput();
        SDL_StartTextInput();
    }
    dropsComposition = false;
}

void Game::handle(const SDL_Event& event)
{
    if (event.type == SDL_QUIT)
        isOver = true;
    else if (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED)
        resize();
    else if (event.type == SDL_MOUSEWHEEL && console->isVisible())
        console->getScrollingTextWindow()->scroll(kWheelLines * event.wheel.y);
    for (const KeyAction& action : keys.read(event))
        handle(action);
}

void Game::handle(const KeyAction& action)
{
    switch (action.kind) {
    case KeyAction::Press:
        // A key that is held down types, but does not run a binding again and again.
        if (console->isVisible() || !action.isRepeat)
            press(action.keystroke);
        break;
    case KeyAction::Toggle:
        press(action.keystroke);
        dropsComposition = true;
        break;
    case KeyAction::Paste:
        paste();
        break;
    case KeyAction::Copy:
        if (console->isVisible())
            SDL_SetClipboardText(
                toUtf8(console->getScrollingTextWindow()->getText().view()).c_str());
        break;
    case KeyAction::FullScreen:
        display.toggleFullScreen();
        break;
    }
}

void Game::press(const Keystroke& stroke)
{
    const zu::String& line = console->getScrollingTextWindow()->getText();
    if (stroke.key == kKeyEnter && !stroke.alt && !line.empty())
        commands.remember(std::string(line.view()));
    console->deliverKeystroke(stroke.key, stroke.character, stroke.alt, stroke.control,
                              stroke.shift);
}

void Game::paste()
{
    char* const clipboard = SDL_GetClipboardText();
    const std::string text = toLatin1(clipboard ? clipboard : "").substr(0, kMaxPastedBytes);
    SDL_free(clipboard);
    if (console->isVisible())
        console->getScrollingTextWindow()->appendText(text.c_str());
}

void Game::resize()
{
    const SDL_Point pixels = display.size();
    shapes.resize(pixels.x, pixels.y);
    shapes.setTextSize(kTextSize);
    const float line = shapes.getLineHeight();
    dm::ScrollingTextWindow& window = *console->getScrollingTextWindow();
    window.setWindowSize({1 - 2 * kMargin, 1 - (line + 2 * kMargin)});
    window.setCommandLinePosition({kMargin, 1 - (line + kMargin)});
}

/// One step a frame, or more frames than one; the frame after the last one is the picture.
void Game::followScript()
{
    if (framesToWait > 0) {
        --framesToWait;
    } else if (nextStep < script.size()) {
        const ScriptStep& step = script[nextStep];
        if (step.kind == ScriptStep::Await && !hasCome(step))
            return;
        ++nextStep;
        perform(step);
    } else if (options.isHeadless || !options.screenshot.empty()) {
        isOver = true;
    }
}

bool Game::hasCome(const ScriptStep& step) const
{
    if (output.hasPrinted(toLatin1(step.text), printedBefore))
        return true;
    if (stepTimer.getElapsed() > kMaxAwaitSeconds)
        throw ScriptError("the script awaits \"" + step.text + "\", which has not come for " +
                          std::to_string(kMaxAwaitSeconds) + " s");
    return false;
}

void Game::pressKey(const SDL_Keysym& key)
{
    for (const SDL_Event& event : keyEvents(key))
        handle(event);
}

void Game::perform(const ScriptStep& step)
{
    if (step.kind != ScriptStep::Await) {
        printedBefore = output.printedCount();
        stepTimer.restart();
    }
    switch (step.kind) {
    case ScriptStep::Key:
        pressKey(step.key);
        break;
    case ScriptStep::Type:
    case ScriptStep::Enter:
        for (const SDL_Event& event : typingEvents(step.text))
            handle(event);
        if (step.kind == ScriptStep::Enter)
            pressKey(enterKey());
        break;
    case ScriptStep::Paste:
        SDL_SetClipboardText(step.text.c_str());
        paste();
        break;
    case ScriptStep::Wait:
        framesToWait = step.frames - 1;
        break;
    case ScriptStep::Await:
        break; // it has come
    case ScriptStep::Screenshot:
        scriptPicture = step.text;
        break;
    }
}

void Game::serveTools()
{
    ZUL_PROFILE_ZONE("tools");
    dm::update();
    if (dm::checkAndClearRequest(0))
        dm::createProfilePacket();
    pipes.poll();
    if (remoteFiles)
        remoteFiles->poll();
    background->poll();
}

void Game::draw()
{
    {
        ZUL_PROFILE_ZONE("draw scene");
        sceneView.draw(scene, display.size());
        drawCaption();
    }
    {
        ZUL_PROFILE_ZONE("draw console");
        keepLines([this] { console->update(); });
        console->render();
    }
    savePictures();
}

/// A full disk is no reason to end the game.
void Game::keepLines(const std::function<void()>& save)
{
    try {
        save();
    } catch (const zu::Exception& error) {
        zu::File::setFileSystemReadOnly(true);
        output.print(std::string("the console's lines are not kept any more: ") +
                     toLatin1(error.what()));
    }
}

void Game::drawCaption()
{
    shapes.begin();
    shapes.setTextSize(kTextSize);
    const float line = shapes.getLineHeight();
    if (showsRate && frameSeconds > 0) {
        const zu::InplaceString<256> rate =
            zu::str("%.0f frames/s", static_cast<double>(1 / frameSeconds));
        shapes.setColor(g::Color::White);
        shapes.drawText({1 - kMargin - shapes.getTextExtent(rate.c_str()).x, kMargin},
                        rate.c_str());
    }
    if (!console->isVisible()) {
        shapes.setColor(g::Color(200, 205, 230, 190));
        shapes.drawText({(1 - shapes.getTextExtent(caption.c_str()).x) / 2, 1 - 2 * line},
                        caption.c_str());
    }
}

void Game::savePictures()
{
    for (const std::string& path : std::exchange(enteredPictures, {})) {
        try {
            display.savePicture(path);
            output.print("wrote " + toLatin1(path));
        } catch (const SdlError& error) {
            output.print(toLatin1(error.what()));
        }
    }
    // What the program was run for: not to have it is a failure. Whoever quits early wants it too.
    if (isOver && scriptPicture.empty())
        scriptPicture = options.screenshot;
    if (!scriptPicture.empty())
        display.savePicture(std::exchange(scriptPicture, {}));
}

void Game::report(float seconds, double workSeconds)
{
    frameSeconds += (seconds - frameSeconds) * (frameSeconds == 0 ? 1 : 0.05f);
    dm::printInPlace(dm::EngineStatistics, "frame", "%u", frame);
    dm::printInPlace(dm::EngineStatistics, "frame ms", "%.2f", workSeconds * 1000);
    dm::printInPlace(dm::EngineStatistics, "lights", "%zu", scene.lightCount());
    dm::printInPlace("console", "%s", console->isVisible() ? "open" : "hidden");
}

} // namespace sandbox
