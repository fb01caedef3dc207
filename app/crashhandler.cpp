#include "crashhandler.h"

#include <execinfo.h>
#include <fcntl.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

const int kSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

// Local time is the UTC offset taken at install time: localtime_r may lock and read files, which
// a signal handler must not do. A daylight-saving change during the run shifts the name by an hour.
long g_utcOffset = 0;
std::atomic_flag g_busy = ATOMIC_FLAG_INIT;
constexpr size_t kAltStackSize = 64 * 1024;
char g_altStack[kAltStackSize];

// A tiny append-only text buffer on the stack: no allocation, no stdio.
struct Line
{
    char text[256];
    size_t size = 0;

    void add(const char* s)
    {
        while (*s && size < sizeof(text))
            text[size++] = *s++;
    }
    void addUnsigned(uint64_t value, int width = 0, int base = 10)
    {
        char digits[32];
        int n = 0;
        do {
            digits[n++] = "0123456789abcdef"[value % base];
            value /= base;
        } while (value != 0 && n < int(sizeof(digits)));
        while (n < width && n < int(sizeof(digits)))
            digits[n++] = '0';
        while (n > 0 && size < sizeof(text))
            text[size++] = digits[--n];
    }
    void addSigned(int64_t value)
    {
        if (value < 0)
            add("-");
        addUnsigned(value < 0 ? uint64_t(0) - uint64_t(value) : uint64_t(value));
    }
    void writeTo(int fd) const
    {
        size_t done = 0;
        while (done < size) {
            const ssize_t w = write(fd, text + done, size - done);
            if (w <= 0)
                return;
            done += size_t(w);
        }
    }
};

const char* signalName(int sig)
{
    switch (sig) {
    case SIGSEGV: return "SIGSEGV";
    case SIGBUS: return "SIGBUS";
    case SIGFPE: return "SIGFPE";
    case SIGILL: return "SIGILL";
    case SIGABRT: return "SIGABRT";
    default: return "?";
    }
}

bool debuggerAttached()
{
    const int fd = open("/proc/self/status", O_RDONLY);
    if (fd < 0)
        return false;
    char buf[4096];
    const ssize_t n = read(fd, buf, sizeof(buf) - 1);
    close(fd);
    if (n <= 0)
        return false;
    buf[n] = '\0';
    const char* p = strstr(buf, "TracerPid:");
    if (!p)
        return false;
    p += strlen("TracerPid:");
    while (*p == ' ' || *p == '\t')
        ++p;
    return *p >= '1' && *p <= '9';
}

// Civil date from days since 1970-01-01 (proleptic Gregorian), without the C library.
void civilFromDays(int64_t z, int64_t& y, unsigned& m, unsigned& d)
{
    z += 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = unsigned(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    y = int64_t(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    if (m <= 2)
        ++y;
}

// yyyy-MM-dd-hh-mm-ss-zzz.dmp
void dumpFileName(char* out, size_t size)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const int64_t local = int64_t(now.tv_sec) + g_utcOffset;
    int64_t days = local / 86400;
    int64_t secs = local % 86400;
    if (secs < 0) {
        secs += 86400;
        --days;
    }
    int64_t year = 0;
    unsigned month = 0;
    unsigned day = 0;
    civilFromDays(days, year, month, day);

    Line name;
    name.addUnsigned(uint64_t(year), 4);
    name.add("-");
    name.addUnsigned(month, 2);
    name.add("-");
    name.addUnsigned(day, 2);
    name.add("-");
    name.addUnsigned(uint64_t(secs / 3600), 2);
    name.add("-");
    name.addUnsigned(uint64_t(secs / 60 % 60), 2);
    name.add("-");
    name.addUnsigned(uint64_t(secs % 60), 2);
    name.add("-");
    name.addUnsigned(uint64_t(now.tv_nsec / 1000000), 3);
    name.add(".dmp");
    const size_t n = name.size < size - 1 ? name.size : size - 1;
    memcpy(out, name.text, n);
    out[n] = '\0';
}

void copyFile(const char* path, int out)
{
    const int in = open(path, O_RDONLY);
    if (in < 0)
        return;
    char buf[4096];
    ssize_t n;
    while ((n = read(in, buf, sizeof(buf))) > 0) {
        if (write(out, buf, size_t(n)) != n)
            break;
    }
    close(in);
}

void writeDump(int sig, const siginfo_t* info)
{
    char name[64];
    dumpFileName(name, sizeof(name));
    const int fd = open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return;

    Line head;
    head.add("Signal: ");
    head.addUnsigned(unsigned(sig));
    head.add(" (");
    head.add(signalName(sig));
    head.add(")\nCode: ");
    head.addSigned(info ? info->si_code : 0);
    head.add("\nAddress: 0x");
    head.addUnsigned(info ? uint64_t(uintptr_t(info->si_addr)) : 0, 0, 16);
    head.add("\nPid: ");
    head.addUnsigned(uint64_t(getpid()));
    head.add("\n\nStack trace:\n");
    head.writeTo(fd);

    void* frames[128];
    const int count = backtrace(frames, 128);
    backtrace_symbols_fd(frames, count, fd);

    Line maps;
    maps.add("\nMemory map:\n");
    maps.writeTo(fd);
    copyFile("/proc/self/maps", fd);
    close(fd);
}

void onFatalSignal(int sig, siginfo_t* info, void*)
{
    // A second fatal signal, in this thread or another, while the dump is written: just die.
    if (!g_busy.test_and_set() && !debuggerAttached())
        writeDump(sig, info);

    struct sigaction dfl {};
    dfl.sa_handler = SIG_DFL;
    sigemptyset(&dfl.sa_mask);
    sigaction(sig, &dfl, nullptr);
    // Blocked until the handler returns; a real fault would also repeat on return.
    raise(sig);
}

// Signal handlers of this thread run on `stack`, or on the thread's own stack again when null.
void useAltStack(char* stack)
{
    stack_t alt{};
    alt.ss_sp = stack;
    alt.ss_size = kAltStackSize;
    alt.ss_flags = stack ? 0 : SS_DISABLE;
    sigaltstack(&alt, nullptr);
}

} // namespace

CrashHandler::ThreadStack::ThreadStack()
    : m_stack(new char[kAltStackSize])
{
    useAltStack(m_stack.get());
}

CrashHandler::ThreadStack::~ThreadStack()
{
    useAltStack(nullptr);
}

void CrashHandler::install()
{
    const time_t now = time(nullptr);
    tm local{};
    if (localtime_r(&now, &local))
        g_utcOffset = local.tm_gmtoff;

    // backtrace() loads libgcc on its first call, which allocates: do that here, not in the handler.
    void* warmUp[2];
    backtrace(warmUp, 2);

    // A stack overflow leaves no stack to run the handler on.
    useAltStack(g_altStack);

    struct sigaction action {};
    action.sa_sigaction = onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (int sig : kSignals)
        sigaction(sig, &action, nullptr);
}
