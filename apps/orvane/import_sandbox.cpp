#include "import_sandbox.h"

#include "Point3D.h"
#include "Triangle.h"

#include <algorithm>
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

std::unique_ptr<OwnedMesh> importIsolated(MeshImport const &import, std::string const &,
                                          unsigned, std::uint64_t) {
    return import();
}

#else

namespace {

// The child's answer: 'M', vertex count, triangle count (8 bytes each), the vertices as three
// doubles, the triangles as three 8-byte indices; or 'E' and the message text.
void put(std::string &out, void const *data, std::size_t size) {
    out.append(static_cast<char const *>(data), size);
}

std::string encodeMesh(OwnedMesh const &mesh) {
    std::string out(1, 'M');
    std::uint64_t counts[2] = {mesh.vertexCount(), mesh.triangleCount()};
    put(out, counts, sizeof counts);
    for (std::size_t v = 0; v < mesh.vertexCount(); ++v) {
        odb::Point3D const &p = mesh.point(v);
        double xyz[3] = {p.x(), p.y(), p.z()};
        put(out, xyz, sizeof xyz);
    }
    OwnedMesh &writable = const_cast<OwnedMesh &>(mesh);   // Triangle's reader is not const
    for (std::size_t t = 0; t < mesh.triangleCount(); ++t) {
        odb::Triangle &tri = writable.triangle(t);
        std::uint64_t corners[3] = {tri.vertexIndex(0), tri.vertexIndex(1), tri.vertexIndex(2)};
        put(out, corners, sizeof corners);
    }
    return out;
}

class Reader {
public:
    explicit Reader(std::string const &data) : data_(data) {}
    bool get(void *to, std::size_t size) {
        if (data_.size() - pos_ < size) return false;
        std::memcpy(to, data_.data() + pos_, size);
        pos_ += size;
        return true;
    }
    bool done() const { return pos_ == data_.size(); }

private:
    std::string const &data_;
    std::size_t pos_ = 1;   // after the kind byte
};

// The mesh of an 'M' answer, or null when the answer is malformed.
std::unique_ptr<OwnedMesh> decodeMesh(std::string const &data) {
    Reader in(data);
    std::uint64_t counts[2];
    if (!in.get(counts, sizeof counts)) return nullptr;
    // A count the answer cannot hold is malformed; checking first keeps reserve() sane.
    std::uint64_t const payload = data.size() - 1 - sizeof counts;
    if (counts[0] > payload / 24 || counts[1] > payload / 24 ||
        counts[0] * 24 + counts[1] * 24 != payload)
        return nullptr;
    auto mesh = std::make_unique<OwnedMesh>();
    for (std::uint64_t v = 0; v < counts[0]; ++v) {
        double xyz[3];
        in.get(xyz, sizeof xyz);
        mesh->addVertex(xyz[0], xyz[1], xyz[2]);
    }
    for (std::uint64_t t = 0; t < counts[1]; ++t) {
        std::uint64_t c[3];
        in.get(c, sizeof c);
        if (c[0] >= counts[0] || c[1] >= counts[0] || c[2] >= counts[0]) return nullptr;
        mesh->addTriangle(c[0], c[1], c[2]);
    }
    return in.done() ? std::move(mesh) : nullptr;
}

void writeAll(int fd, std::string const &data) {
    std::size_t done = 0;
    while (done < data.size()) {
        ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        done += static_cast<std::size_t>(n);
    }
}

std::string readAll(int fd) {
    std::string data;
    char buffer[1 << 16];
    for (;;) {
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        data.append(buffer, static_cast<std::size_t>(n));
    }
    return data;
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
[[noreturn]] void runChild(MeshImport const &import, std::string const &path, unsigned cpuSeconds,
                           std::uint64_t memoryBytes, int answerFd) {
    // A fault of the importer must end the child by its signal or by the sanitizer's report,
    // for the parent to report: handlers inherited from the host process (crash reporters, a
    // fuzzer's crash recorder) do not run here.
    for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) std::signal(fault, SIG_DFL);
    if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(nullptr);
    int quiet = ::open("/dev/null", O_WRONLY);
    if (quiet >= 0) {
        ::dup2(quiet, STDERR_FILENO);
        ::close(quiet);
    }
    rlimit cpu{cpuSeconds, cpuSeconds + 5};   // SIGXCPU at the soft limit, SIGKILL at the hard
    ::setrlimit(RLIMIT_CPU, &cpu);
    limitMemory(memoryBytes);
    std::string answer;
    try {
        std::unique_ptr<OwnedMesh> mesh = import();
        answer = encodeMesh(*mesh);
    } catch (InputError const &e) {
        answer = std::string("E") + e.what();
    } catch (std::bad_alloc const &) {
        answer = "E'" + path + "' cannot be read: not enough memory for it";
    } catch (std::exception const &e) {
        answer = "E'" + path + "' cannot be read: " + e.what();
    }
    writeAll(answerFd, answer);
    ::close(answerFd);
    // No exit handlers and no stdio flushing: those belong to the parent.
    ::_exit(0);
}

}  // namespace

bool importMemoryCapAvailable() { return __sanitizer_set_death_callback == nullptr; }

std::unique_ptr<OwnedMesh> importIsolated(MeshImport const &import, std::string const &path,
                                          unsigned cpuSeconds, std::uint64_t memoryBytes) {
    int fds[2];
    if (::pipe(fds) != 0) return import();
    std::fflush(nullptr);   // nothing buffered may be written twice
    pid_t const child = ::fork();
    if (child < 0) {
        ::close(fds[0]);
        ::close(fds[1]);
        return import();
    }
    if (child == 0) {
        ::close(fds[0]);
        runChild(import, path, cpuSeconds, memoryBytes, fds[1]);
    }
    ::close(fds[1]);
    std::string const answer = readAll(fds[0]);
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
    if (!answer.empty() && answer[0] == 'E') throw InputError(answer.substr(1));
    if (!answer.empty() && answer[0] == 'M')
        if (std::unique_ptr<OwnedMesh> mesh = decodeMesh(answer)) return mesh;
    throw InputError(cannot + "the importer failed on it (the file is probably corrupt)");
}

#endif

}  // namespace orvane
