/// The drop-down console: a pane of printed lines with a command line under it. Commands go to the
/// game, text comes from anywhere; history, aliases, key bindings, completion and colours are the
/// console's.
///
///     #include <dm/console.h>
///
///     struct Commands : dm::IOInterface
///     {
///         void executeCommand(const zu::InplaceString<128>& command) override
///         {
///             dm::Console::getInstance()->print("there is no %s\n", command.c_str()); // "quit;"
///         }
///     };
///
///     void play(dm::ShapeEngineInterface& screen) // which draws
///     {
///         Commands commands;
///         dm::Console console(&screen, 0.02f);
///         console.setIOInterface(&commands);
///         console.getScrollingTextWindow()->addKnownWord("quit", false);
///         console.bind('q', "quit"); // for while the console is hidden
///
///         // A frame: the keys that were pressed, then update and render. 220 shows the console.
///         for (const int key : {220, int{'q'}, int{'u'}, int{'\t'}, int{'\r'}})
///             console.deliverKeystroke(key, static_cast<char>(key), false, false, false);
///         console.update();
///         console.render();
///     }
///
/// Text is single bytes, Latin-1. Keys are Windows virtual-key codes. All measures are parts of the
/// screen, which is 1.0 wide and 1.0 high with (0, 0) at its top left; a character counts as 0.01
/// wide when lines are broken, so the drawing interface should draw text that wide.
///
/// What was printed with a prefix and the commands typed are kept from run to run, in the file
/// "consolecache.bin" in the folder of zu::File::setFileSysPathForWrite, unless
/// zu::File::setFileSystemReadOnly says not to keep anything.
///
/// Threads: printing (print..., Console::print) from any thread at any time; everything else on the
/// one thread that draws and delivers keys. No lock is held while the drawing interface or the
/// executor is called.
/// Ownership: drawing interface and executor stay the game's and must outlive the console. What it
/// is given as text it copies.
/// Errors: a cache file that cannot be read or written throws, see ScrollingTextWindow's
/// constructor and save; so does an alias that is checked and found wrong. What the executor throws
/// passes through. Nothing else throws, but for want of memory.
/// Limits: kMaxConsoleLines lines, kMaxConsoleCommands commands; formatted text of more than
/// kMaxConsolePrintLength characters is dropped whole. A line, a command and the line being typed
/// have no limit but memory.
/// Order: setIOInterface before the first key, or commands are answered with an error. Each frame
/// keys, then update, then render. Before the console goes, those who print to it stop.
#pragma once

#include <dm/export.h>
#include <zul/Color.h>
#include <zul/Exception.h>
#include <zul/InplaceString.h>
#include <zul/Memory.h>
#include <zul/Timer.h>
#include <zul/Types.h>
#include <zul/Vector.h>
#include <zul/Vector2.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>

namespace dm {

using zu::u32;
using zu::u64;

/// Lines that the console keeps, as rows of the pane; the oldest goes first. A cache file brings
/// its own number.
inline constexpr u32 kMaxConsoleLines = 1000;
/// Commands that the history keeps.
inline constexpr u32 kMaxConsoleCommands = 30;
/// The longest result of a formatting print, in characters: it is formatted on the stack.
inline constexpr u32 kMaxConsolePrintLength = 4095;

/// The words of a text: joined they are the text.
using WordList = zu::Vector<zu::InplaceString<256>, zu::HeapAllocator>;

/// Alias names, in lower case, to their texts. Compares names without regard to case.
using AliasMap =
    std::map<zu::InplaceString<256>, zu::InplaceString<256>, std::less<zu::InplaceString<256>>,
             zu::Allocator<std::pair<const zu::InplaceString<256>, zu::InplaceString<256>>>>;

/// Characters to the commands they run while the console is hidden.
using BindingMap = std::map<unsigned char, zu::InplaceString<128>, std::less<unsigned char>,
                            zu::Allocator<std::pair<const unsigned char, zu::InplaceString<128>>>>;

/// Cuts a text into words and appends them to `words`: runs of white space, quoted strings,
/// numbers, identifiers, single other characters.
///
///     set x= 0.5 "a b"  ->  [set] [ ] [x] [=] [ ] [0.5] [ ] ["a b"]
///
/// A number is one word only when white space or the end follows. `text` is not one of `words`.
/// Threads: any.
DM_API void tokenizeLine(WordList& words, const zu::String& text);

/// Length of what stands at `pos`, or -1 when that is something else, or `pos` is outside the text.
DM_API int scanWhitespace(const zu::String& text, int pos);
/// Letters (also of Latin-1: the Swedish ones), digits and '_'; may begin with a digit.
DM_API int scanIdentifier(const zu::String& text, int pos);
/// These three only where white space or the end follows.
DM_API int scanInteger(const zu::String& text, int pos);
/// Any mix of digits, '.', 'e' and 'f', after a sign or none: "1.5f", but also "fee".
DM_API int scanFloat(const zu::String& text, int pos);
/// Lower-case digits only: 0xff, not 0xFF.
DM_API int scanHex(const zu::String& text, int pos);
/// From a double quote to the next one.
DM_API int scanQuoted(const zu::String& text, int pos);

/// What the console throws; the text begins with "ScrollingTextWindow: ".
class DM_API ScrollingTextWindowException : public zu::Exception
{
public:
    using zu::Exception::Exception;
    ~ScrollingTextWindowException() override;
};

/// An alias would expand into itself.
class DM_API ScrollingTextWindowException_IllegalAliasDefinition
    : public ScrollingTextWindowException
{
public:
    using ScrollingTextWindowException::ScrollingTextWindowException;
    ~ScrollingTextWindowException_IllegalAliasDefinition() override;
};

/// What the console draws with; the game implements it.
///
/// Threads: called on the thread that draws the console, and by the console's construction and
/// ScrollingTextWindow::setWindowSize on theirs. It may print to the console.
class ShapeEngineInterface
{
public:
    /// Before anything else of a frame.
    virtual void begin() = 0;

    /// The height that text is drawn and measured with from now on; the console uses 0.02.
    virtual void setTextSize(float size) = 0;

    /// The distance from one line of text to the next, at the current size.
    virtual float getLineHeight() = 0;

    /// Width (x) and height (y) of a text; the console uses the width.
    virtual m::Vector2Template<float> getTextExtent(const char* text) = 0;

    /// Colour of what is drawn next.
    virtual void setColor(const g::Color& color) = 0;

    /// Filled. `position` is the top left corner.
    virtual void drawRectangle(const m::Vector2Template<float>& position,
                               const m::Vector2Template<float>& size) = 0;

    /// `position` is the top left corner of the first character. The text may be empty, and may end
    /// with a line feed, which is not to be seen.
    virtual void drawText(const m::Vector2Template<float>& position, const char* text) = 0;

    virtual ~ShapeEngineInterface() = default;
};

/// Runs the commands that are entered; the game implements it.
class IOInterface
{
public:
    /// Called by Console::deliverKeystroke and processCommand, on their thread.
    ///
    ///   command   ends with ";" ("god;", "echo hello;"); valid until the return.
    ///
    /// May call everything of the console but its destructor. What it throws passes through to the
    /// caller of deliverKeystroke; the line's further commands are not run then.
    virtual void executeCommand(const zu::InplaceString<128>& command) = 0;

    virtual ~IOInterface() = default;
};

/// The pane and the command line. Console owns one and forwards to it.
class DM_API ScrollingTextWindow
{
public:
    /// A piece of a line in one colour.
    struct FormattedRun
    {
        g::Color color;
        zu::InplaceString<256> text;
    };
    /// A line in colours; joined the texts are the line.
    struct FormattedLine
    {
        zu::Vector<FormattedRun> runs;
    };

    /// Fills the screen but for a margin, hidden, and loads what the last run kept.
    ///
    ///   shapeEngine   not owned; asked for the line height right away.
    ///   margin        of the screen on all four sides, below 0.5.
    ///
    /// Errors: throws zu::StreamException or zu::FileException when the cache file cannot be read;
    /// move it out of the way and try again.
    ScrollingTextWindow(ShapeEngineInterface* shapeEngine, float margin);
    virtual ~ScrollingTextWindow();
    ScrollingTextWindow(const ScrollingTextWindow&) = delete;
    ScrollingTextWindow& operator=(const ScrollingTextWindow&) = delete;

    // Printing: from any thread. A line is shown when its line feed has come; lines wider than the
    // pane are broken between words.

    /// printf formatting; more than kMaxConsolePrintLength characters print nothing.
    virtual void print(const char* format, ...) ZUL_PRINTF_LIKE(2, 3);
    virtual void printString(const char* text);
    /// With the prompt before every line, as commands are shown, and kept from run to run.
    virtual void printWithPrefix(bool withPrefix, const char* format, ...) ZUL_PRINTF_LIKE(3, 4);
    virtual void printStringWithPrefix(bool withPrefix, const char* text);
    /// Makes no file.
    virtual void dumpToFile(const char* fileName);

    // Geometry.

    void setWindowSize(const m::Vector2Template<float>& size);
    void setWindowPosition(const m::Vector2Template<float>& position);
    void setCommandLinePosition(const m::Vector2Template<float>& position);
    void setCommandLineWidth(float width);
    void setVisibility(bool visible);
    const m::Vector2Template<float>& getWindowSize() const;
    const m::Vector2Template<float>& getWindowPosition() const;
    const m::Vector2Template<float>& getCommandLinePosition() const;
    /// The part of the window that holds text: all but the scroll bar.
    const m::Vector2Template<float>& getTextAreaSize() const;
    float getCommandLineWidth() const;

    /// Moves the view up, to older lines, or down for a negative number. Returns by how many lines
    /// it moved: the ends stop it.
    int scroll(int lines);
    void scrollBottom();
    /// Forgets all lines.
    void clear();

    // The command line.

    const zu::String& getText() const;
    /// The cursor goes to the end.
    void setText(const zu::String& text);
    /// Inserts at the cursor; line ends become spaces, tabs are dropped.
    void appendText(const zu::String& text);
    /// A key that was pressed; see Console::deliverKeystroke.
    void appendInput(int key, char character, bool alt, bool control, bool shift);
    void addToCommandStack(const zu::InplaceString<128>& command);
    /// Takes the command line, appends its words to `words` with aliases replaced by theirs, and
    /// empties it. An empty line does nothing.
    void parseCommandLine(WordList& words, bool addToStack);

    // Aliases. Enter a definition, with its name in lower case, check it, and take it back when the
    // check throws: only an alias that is in the map is seen.

    const AliasMap& getAliasesMap() const;
    AliasMap& accessAliasesMap();
    /// Throws ScrollingTextWindowException_IllegalAliasDefinition if an alias called `name` with
    /// this text would use itself, or one alias twice.
    void checkAliasValidity(const zu::InplaceString<256>& name, const zu::String& text) const;

    // Words that Tab completes and that are shown in a colour of their own.

    /// A function is completed with "(  );" and the cursor within. A word that is there stays as it
    /// is.
    void addKnownWord(const char* word, bool isFunction);
    void removeKnownWord(const char* word);
    void removeAllKnownWords();

    /// Writes the cache file if something changed since. The file is replaced whole: if that fails,
    /// or the program ends on the way, it is still the old one. It is not brought to the disk at
    /// once, which would take longer than a frame.
    ///
    /// Errors: throws zu::FileException when the disk is full. A file that cannot be opened or
    /// replaced is no error; the next change leads to the next try.
    void save();
    /// Reads the cache file, if there is one. Throws as the constructor does.
    void load();

    /// Draws a frame; a hidden window draws nothing. Unchanged lines cost no allocation. Waits for
    /// one print of another thread at most.
    void renderVisibleText();

private:
    friend struct ScrollingTextWindowTestAccess;

    u64 getConsoleLineCount() const;
    const zu::String& getConsoleLine(u64 index) const;
    const zu::String& getVisibleLine(u64 index) const;
    u32 getLinesOnScreen();
    u32 getUpmostShownConsoleLine();
    float getStringWidth(const zu::String& text) const;
    int getCharacterFitCount(const zu::String& text, float width) const;
    void addConsoleLine(const zu::String& line);
    void syntaxColorLine(FormattedLine& out, const zu::String& line);
    void renderScrollBar();
    void scrollCommands(int delta);
    void completeCommand(bool forward, bool restart);
    void resolveAliases(WordList& out, const WordList& in) const;

    struct Parts;
    const std::unique_ptr<Parts> parts;
};

/// The console: keys come in, commands and pictures come out. One at a time.
class DM_API Console
{
public:
    /// Hidden at first. Arguments and errors as ScrollingTextWindow's; after an error there is no
    /// instance.
    Console(ShapeEngineInterface* shapeEngine, float margin);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// The newest console; null when there is none, and once any console has been destroyed.
    static Console* getInstance();

    /// A key that was pressed, or repeated.
    ///
    ///   key         Windows virtual-key code. 220 shows or hides the console, whatever it types;
    ///               13 runs the command line, also while hidden, unless with alt.
    ///   character   what the key types, Latin-1; 0 for nothing.
    void deliverKeystroke(int key, char character, bool alt, bool control, bool shift);

    /// Replaces an earlier binding. The command is neither shown nor put into the history; it takes
    /// the place of a half-typed one.
    void bind(unsigned char key, const zu::InplaceString<128>& command);
    /// 0 removes all bindings.
    void unbind(unsigned char key);
    const BindingMap& getBindingsMap() const;

    /// Runs what stands in the command line: "a;b" is two commands, but not in a line that begins
    /// with alias or bind.
    ///
    ///   interactive   shows the commands and puts the line into the history.
    void processCommand(bool interactive);

    /// Null detaches.
    void setIOInterface(IOInterface* ioInterface);

    /// Once per frame: saves the cache file when something changed, once a second at most; throws
    /// as ScrollingTextWindow::save does. The destructor does not save: for the last second, call
    /// that before.
    void update();
    void render();

    /// Any thread. printf formatting; more than kMaxConsolePrintLength characters print nothing.
    void print(const char* format, ...) ZUL_PRINTF_LIKE(2, 3);
    void clear();
    /// Hides the console.
    void close();
    bool isVisible() const;
    /// Sets the command line, cursor at its end.
    void setText(const zu::InplaceString<128>& text);
    ScrollingTextWindow* getScrollingTextWindow();

private:
    void processParsedCommandLine(const WordList& words, bool echo);

    std::unique_ptr<ScrollingTextWindow> scrollingTextWindow;
    bool visible = false;
    IOInterface* ioInterface = nullptr;
    zu::Timer saveTimer;
    BindingMap bindings;

    static Console* sm_pInstance;
};

} // namespace dm
