#include "import_sandbox.h"


#include <algorithm>
#include <chrono>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>

#if defined(__unix__) || defined(__APPLE__)
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#define ORVANE_IMPORT_IN_CHILD 1

// Present (non-null) only when a sanitizer runtime is linked in.
extern "C" void __sanitizer_set_death_callback(void (*callback)()) __attribute__((weak));
#endif

namespace orvane {

unsigned importTimeLimit(std::uintmax_t bytes) {
    std::uintmax_t const megabytes = bytes / (1024 * 1024);
    return static_cast<unsigned>(2 + 10 * std::min<std::uintmax_t>(megabytes, 100000));
}

std::uint64_t importMemoryLimit(std::uintmax_t bytes) {
    std::uint64_t const gib = std::uint64_t(1) << 30;
    std::uint64_t const scaled = std::min<std::uintmax_t>(bytes, std::uint64_t(1) << 40) * 16;
    return 4 * gib + scaled;
}

#ifndef ORVANE_IMPORT_IN_CHILD

bool importMemoryCapAvailable() { return false; }

ModelData importIsolated(ModelImport const &import, std::string const &, unsigned, std::uint64_t,
                         ImportReport const &report) {
    return import(report);
}

#else

namespace {

// The child's answer is a sequence of frames, each a kind byte, an 8-byte payload length and
// the payload: any number of 'P' (progress: stage byte, done and total as 8 bytes each), then
// one 'M' (the model: vertex and triangle counts as 8 bytes each, the coordinates as doubles,
// the corners as 4-byte indices) or one 'E' (the message text).
bool writeAll(int fd, void const *data, std::size_t size) {
    auto const *bytes = static_cast<char const *>(data);
    std::size_t done = 0;
    while (done < size) {
        ssize_t n = ::write(fd, bytes + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

bool readAll(int fd, void *data, std::size_t size) {
    auto *bytes = static_cast<char *>(data);
    std::size_t done = 0;
    while (done < size) {
        ssize_t n = ::read(fd, bytes + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

void writeFrame(int fd, char kind, std::uint64_t length) {
    char head[9];
    head[0] = kind;
    std::memcpy(head + 1, &length, 8);
    writeAll(fd, head, sizeof head);
}

void writeModel(int fd, ModelData const &model) {
    std::uint64_t const counts[2] = {model.vertexCount(), model.triangleCount()};
    writeFrame(fd, 'M', sizeof counts + model.coords.size() * sizeof(double) +
                            model.corners.size() * sizeof(std::uint32_t));
    writeAll(fd, counts, sizeof counts) &&
        writeAll(fd, model.coords.data(), model.coords.size() * sizeof(double)) &&
        writeAll(fd, model.corners.data(), model.corners.size() * sizeof(std::uint32_t));
}

// Reads the 'M' payload of `length` bytes; false when it is malformed.
bool readModel(int fd, std::uint64_t length, ModelData &model) {
    std::uint64_t counts[2];
    if (length < sizeof counts || !readAll(fd, counts, sizeof counts)) return false;
    // Counts the payload cannot hold are malformed; checking first keeps the sizes sane.
    std::uint64_t const payload = length - sizeof counts;
    if (counts[0] > payload / 24 || counts[1] > payload / 12 || counts[0] * 24 + counts[1] * 12 != payload)
        return false;
    model.coords.resize(3 * counts[0]);
    model.corners.resize(3 * counts[1]);
    if (!readAll(fd, model.coords.data(), model.coords.size() * sizeof(double)) ||
        !readAll(fd, model.corners.data(), model.corners.size() * sizeof(std::uint32_t)))
        return false;
    for (std::uint32_t c : model.corners)
        if (c >= counts[0]) return false;
    return true;
}

// The address space this process uses now, in bytes; 0 where the system does not say.
std::uint64_t addressSpaceInUse() {
    std::FILE *statm = std::fopen("/proc/self/statm", "r");
    if (!statm) return 0;
    unsigned long long pages = 0;
    int const read = std::fscanf(statm, "%llu", &pages);
    std::fclose(statm);
    long const pageSize = ::sysconf(_SC_PAGESIZE);
    return read == 1 && pageSize > 0 ? pages * static_cast<std::uint64_t>(pageSize) : 0;
}

// Caps the address space at what is in use plus `memoryBytes`, so that an importer asking
// for more gets std::bad_alloc (or dies) instead of filling the machine. Never raises a
// limit that is already lower.
void limitMemory(std::uint64_t memoryBytes) {
    if (memoryBytes == 0 || !importMemoryCapAvailable()) return;
    std::uint64_t const inUse = addressSpaceInUse();
    if (inUse == 0) return;
    rlimit current{};
    if (::getrlimit(RLIMIT_AS, &current) != 0) return;
    rlim_t const wanted = static_cast<rlim_t>(inUse + std::min(memoryBytes, ~inUse));
    if (current.rlim_cur != RLIM_INFINITY && current.rlim_cur <= wanted) return;
    rlimit const capped{wanted, current.rlim_max};
    ::setrlimit(RLIMIT_AS, &capped);
}

// The child: runs the import and answers; never returns.
[[noreturn]] void runChild(ModelImport const &import, std::string const &path, unsigned cpuSeconds,
                           std::uint64_t memoryBytes, int answerFd, bool wantsProgress) {
    // A fault of the importer must end the child by its signal or by the sanitizer's report,
    // for the parent to report: handlers inherited from the host process (crash reporters, a
    // fuzzer's crash recorder) do not run here.
    for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) std::signal(fault, SIG_DFL);
    // Nor the host's cleanup on being ended (the tool's removal of its temporary files):
    // those files are the parent's to remove.
    for (int end : {SIGINT, SIGTERM, SIGHUP}) std::signal(end, SIG_DFL);
    if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(nullptr);
    int quiet = ::open("/dev/null", O_WRONLY);
    if (quiet >= 0) {
        ::dup2(quiet, STDERR_FILENO);
        ::close(quiet);
    }
    rlimit cpu{cpuSeconds, cpuSeconds + 5};   // SIGXCPU at the soft limit, SIGKILL at the hard
    ::setrlimit(RLIMIT_CPU, &cpu);
    limitMemory(memoryBytes);

    auto last = std::chrono::steady_clock::now() - std::chrono::seconds(1);
    ImportReport report;
    if (wantsProgress)
        report = [&](ImportStage stage, std::size_t done, std::size_t total) {
            auto const now = std::chrono::steady_clock::now();
            if (now - last < std::chrono::milliseconds(100) && done < total) return;
            last = now;
            char payload[17];
            payload[0] = static_cast<char>(stage);
            std::uint64_t const figures[2] = {done, total};
            std::memcpy(payload + 1, figures, sizeof figures);
            writeFrame(answerFd, 'P', sizeof payload);
            writeAll(answerFd, payload, sizeof payload);
        };
    std::string error;
    try {
        ModelData const model = import(report);
        writeModel(answerFd, model);
    } catch (InputError const &e) {
        error = e.what();
    } catch (std::bad_alloc const &) {
        error = "'" + path + "' cannot be read: not enough memory for it";
    } catch (std::exception const &e) {
        error = "'" + path + "' cannot be read: " + e.what();
    }
    if (!error.empty()) {
        writeFrame(answerFd, 'E', error.size());
        writeAll(answerFd, error.data(), error.size());
    }
    ::close(answerFd);
    // No exit handlers, no stdio flushing and no teardown of the model: those belong to the
    // parent, and the system takes the child's memory back at once.
    ::_exit(0);
}

}  // namespace

bool importMemoryCapAvailable() { return __sanitizer_set_death_callback == nullptr; }

ModelData importIsolated(ModelImport const &import, std::string const &path, unsigned cpuSeconds,
                         std::uint64_t memoryBytes, ImportReport const &report) {
    int fds[2];
    if (::pipe(fds) != 0) return import(report);
    std::fflush(nullptr);   // nothing buffered may be written twice
    pid_t const child = ::fork();
    if (child < 0) {
        ::close(fds[0]);
        ::close(fds[1]);
        return import(report);
    }
    if (child == 0) {
        ::close(fds[0]);
        runChild(import, path, cpuSeconds, memoryBytes, fds[1], static_cast<bool>(report));
    }
    ::close(fds[1]);

    // Progress frames until the answer; a frame that makes no sense ends the reading.
    ModelData model;
    char kind = 0;
    bool answered = false;
    std::string error;
    for (;;) {
        char head[9];
        if (!readAll(fds[0], head, sizeof head)) break;
        kind = head[0];
        std::uint64_t length;
        std::memcpy(&length, head + 1, 8);
        if (kind == 'P' && length == 17) {
            char payload[17];
            if (!readAll(fds[0], payload, sizeof payload)) break;
            std::uint64_t figures[2];
            std::memcpy(figures, payload + 1, sizeof figures);
            if (report && payload[0] >= 0 && payload[0] <= 1 && figures[0] <= figures[1])
                report(static_cast<ImportStage>(payload[0]), figures[0], figures[1]);
            continue;
        }
        if (kind == 'M') answered = readModel(fds[0], length, model);
        if (kind == 'E' && length <= (1u << 20)) {
            error.resize(length);
            answered = readAll(fds[0], error.data(), length);
        }
        break;
    }
    ::close(fds[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }

    std::string const cannot = "'" + path + "' cannot be read: ";
    if (WIFSIGNALED(status)) {
        int const signal = WTERMSIG(status);
        if (signal == SIGXCPU)
            throw InputError(cannot + "the importer did not finish within " +
                             std::to_string(cpuSeconds) +
                             " s of processor time (the file is probably corrupt)");
        if (signal == SIGKILL)
            throw InputError(cannot + "the importer was stopped (more than " +
                             std::to_string(cpuSeconds) +
                             " s of processor time, or out of memory)");
        throw InputError(cannot + "the importer crashed on it (the file is probably corrupt)");
    }
    if (answered && kind == 'E') throw InputError(error);
    if (answered && kind == 'M') return model;
    throw InputError(cannot + "the importer failed on it (the file is probably corrupt)");
}

#endif

}  // namespace orvane
