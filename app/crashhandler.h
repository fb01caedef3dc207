#pragma once

#include <memory>

// Writes a dump file into the working directory when the process dies of a fatal signal, then
// lets it die of that signal.
namespace CrashHandler {

// Call first thing in main: everything the handler needs is prepared here, not at crash time.
void install();

// A stack of its own for the handler on the calling thread, so that a stack overflow there
// still leaves a dump. install() gives the main thread one; every other thread of ours holds
// one of these in its run() for as long as it runs.
class ThreadStack
{
public:
    ThreadStack();
    ~ThreadStack();
    ThreadStack(const ThreadStack&) = delete;
    ThreadStack& operator=(const ThreadStack&) = delete;

private:
    std::unique_ptr<char[]> m_stack;
};

} // namespace CrashHandler
