#pragma once
// What every subcommand of the orvane tool shares: the two kinds of failure and their exit
// codes, progress reporting on stderr, output files that appear whole or not at all, and the
// ownership rules of what the library hands back.
#include "model_io.h"

#include "BSPTree.h"
#include "PLC.h"
#include "Point3D.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvane {

// Wrong use of the command line (a bad number, a missing argument, an unknown output type).
// Exit code 2. InputError (model_io.h) is an unusable input file: exit code 1.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Options every subcommand understands.
struct CommonOptions {
    bool quiet = false;      // no progress, no warnings beyond errors
    bool progress = false;   // progress on stderr even when stderr is not a terminal
};

// Progress on stderr. Enabled unless --quiet, and only when stderr is a terminal unless
// --progress asked for it. On a terminal the current stage overwrites itself on one line,
// with its percentage when it reports steps and otherwise with the seconds it has run
// (refreshed by a background thread, at most a few times per second); to a file or pipe each
// stage is one line when it starts and one with its time when it ends.
class Progress {
public:
    explicit Progress(CommonOptions const &options);
    ~Progress();
    Progress(Progress const &) = delete;
    Progress &operator=(Progress const &) = delete;

    bool enabled() const { return enabled_; }
    // Starts a stage ("Slicing 120 layers"); `total` > 0 enables step().
    void stage(std::string const &what, std::size_t total = 0);
    // Reports that `done` of the stage's `total` steps are finished.
    void step(std::size_t done);
    void step(std::size_t done, std::size_t total);
    // Ends the current stage; returns its time in seconds.
    double done();
    // One free-standing message line (the voxelizer's stage messages).
    void message(std::string const &text);

private:
    void show(bool force);   // with mutex_ held
    void tick();

    bool enabled_;
    bool terminal_;
    std::string stage_;
    std::size_t total_ = 0;
    std::size_t done_ = 0;
    bool open_ = false;
    std::chrono::steady_clock::time_point started_;
    std::chrono::steady_clock::time_point shown_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::thread ticker_;
};

// Seconds since the tool started (the whole run's time, for summaries).
double secondsSinceStart();

// "12.3 s in all, 4.56 s slicing": a summary's times.
std::string runTimes(double algorithmSeconds, std::string const &algorithm);

// Ends the run with `code` and no teardown: the meshes and results of a big model can take
// seconds to free piece by piece, and the operating system takes the memory back at once.
// Flushes standard output first (a failed write becomes exit code 1 with a message). Under
// the sanitizers it returns `code` instead, so that everything is released and leaks stay
// visible. Call it last in a runner, as `return finishRun(0);`.
int finishRun(int code);

// Warnings go to stderr unless --quiet; they never change the exit code.
void warn(CommonOptions const &options, std::string const &text);

// A file written to a temporary name in the target folder and renamed into place by
// commit(), so that readers never see a half-written file and a failure leaves nothing.
// The destructor removes the temporary file when commit() was not reached.
class AtomicFile {
public:
    explicit AtomicFile(std::string target);
    ~AtomicFile();
    AtomicFile(AtomicFile const &) = delete;
    AtomicFile &operator=(AtomicFile const &) = delete;

    // The temporary file's path, for writers that open files themselves (Assimp's exporter).
    std::string const &tempPath() const { return temp_; }
    // Writes `data` to the temporary file (replacing what was there).
    void write(std::string const &data);
    // Renames the temporary file onto the target. Throws std::runtime_error on failure.
    void commit();

private:
    std::string target_;
    std::string temp_;
    bool committed_ = false;
};

// Lower-case extension of a path without the dot ("" when there is none).
std::string extensionOf(std::string const &path);
// The file name without folder and extension ("part" for "models/part.stl").
std::string stemOf(std::string const &path);

// Checks before any library call: throw UsageError naming the option.
void requireFinite(double value, std::string const &option);
void requirePositive(double value, std::string const &option);
// An integer count in [1, most].
void requireCount(long long value, long long most, std::string const &option);

// Releasers for what the library hands to the caller.
// A delivered contour: its points, its point list, then the PLC.
void releaseContour(odb::PLC *contour);
struct ContourList {
    std::vector<odb::PLC *> items;
    ContourList() = default;
    ContourList(ContourList const &) = delete;
    ContourList &operator=(ContourList const &) = delete;
    ~ContourList() { for (odb::PLC *c : items) releaseContour(c); }
};
// A BSP tree from Triangulation::BSP(), ended with release().
struct BspRelease {
    void operator()(odb::BSPTree const *tree) const;
};
using BspTreePtr = std::unique_ptr<odb::BSPTree const, BspRelease>;

// A contour's points copied out, with the tool's reading of it.
struct ContourData {
    std::string name;
    std::vector<odb::Point3D> points;
    bool closed = false;   // last point repeats the first within 1e-8 per coordinate
};
ContourData contourData(odb::PLC &contour);

}  // namespace orvane
