#pragma once

// Writes a dump file into the working directory when the process dies of a fatal signal, then
// lets it die of that signal.
namespace CrashHandler {

// Call first thing in main: everything the handler needs is prepared here, not at crash time.
void install();

} // namespace CrashHandler
