#pragma once

#include "tools/sandbox/Background.h"
#include "tools/sandbox/Commands.h"
#include "tools/sandbox/DataFolder.h"
#include "tools/sandbox/Display.h"
#include "tools/sandbox/Keys.h"
#include "tools/sandbox/Options.h"
#include "tools/sandbox/Output.h"
#include "tools/sandbox/Pipes.h"
#include "tools/sandbox/RemoteFiles.h"
#include "tools/sandbox/Scene.h"
#include "tools/sandbox/SceneView.h"
#include "tools/sandbox/Script.h"
#include "tools/sandbox/SdlShapeEngine.h"
#include "tools/sandbox/Variables.h"

#include <dm/monitor.h>
#include <zul/Timer.h>

#include <functional>
#include <memory>
#include <vector>

namespace sandbox {

/// The sample game: a scene, the console before it, and the links to tools.
///
/// Threads: the main thread's.
class Game : public dm::DataParserCallback
{
public:
    /// Throws what its parts throw: SdlError, ScriptError, zu::Exception.
    explicit Game(const Options& chosen);
    ~Game() override;

    /// Until somebody quits.
    void run();

    /// A line for the console, from a tool that watches.
    void parseData(const char* data) override;

private:
    void addCommands();
    void openLinks();
    void greet();

    void playFrame(float seconds);
    void readEvents();
    void handle(const SDL_Event& event);
    void handle(const KeyAction& action);
    void press(const Keystroke& keystroke);
    void paste();
    void resize();
    void followScript();
    bool hasCome(const ScriptStep& step) const;
    void pressKey(const SDL_Keysym& key);
    void perform(const ScriptStep& step);
    void serveTools();
    void draw();
    void keepLines(const std::function<void()>& save);
    void drawCaption();
    void savePictures();
    void report(float seconds, double workSeconds);

    const Options options;
    const DataFolder dataFolder;
    Display display;
    SdlShapeEngine shapes;
    std::string notice; // of opening the console
    const std::unique_ptr<dm::Console> console;
    Output output;
    Variables variables;
    Scene scene;
    SceneView sceneView;
    const std::string& caption;
    const bool& showsRate;
    Commands commands;
    Pipes pipes;
    std::unique_ptr<RemoteFiles> remoteFiles;
    std::unique_ptr<Background> background; // ends before what its work uses

    KeyReader keys;
    bool dropsComposition = false; // the console key was pressed
    std::vector<ScriptStep> script;
    size_t nextStep = 0;
    int framesToWait = 0;
    size_t printedBefore = 0; // lines, at the last step that awaited none
    zu::Timer stepTimer;      // of the same
    // To be saved when this frame is drawn:
    std::string scriptPicture;
    std::vector<std::string> enteredPictures; // somebody entered screenshot
    bool isOver = false;
    zu::u32 frame = 0;
    float frameSeconds = 0; // smoothed
};

} // namespace sandbox
