/// Whether a person is watching, and how large the window is.
///
/// For programs that show progress or escape foreign text only on a screen.
///
/// Threads: any.
#pragma once

#include <zul/Types.h>
#include <zul/export.h>

namespace zu {

enum class StandardStream
{
    Input,
    Output,
    Error
};

/// Whether the stream is a terminal, rather than a file, a pipe or closed.
ZUL_API bool isTerminal(StandardStream stream);

/// The terminal's width in columns; 80 when the stream is none or does not tell.
ZUL_API u32 terminalWidth(StandardStream stream);

/// Its height in rows; 24 when the stream is none or does not tell.
ZUL_API u32 terminalHeight(StandardStream stream);

} // namespace zu
