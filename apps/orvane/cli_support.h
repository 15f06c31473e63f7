#pragma once
// What every subcommand of the orvane tool shares: progress reporting on stderr, warnings
// and summaries that --quiet silences, output files that are checked before any work and
// appear whole or not at all, and checks of numbers given on the command line. (The two
// kinds of failure are in tool_errors.h, the releasers of what the library hands back in
// library_release.h.)
#include "library_release.h"
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
// Notes (a choice the tool made for the user, such as drawing every 5th layer) likewise.
void note(CommonOptions const &options, std::string const &text);
// A command's closing summary: on stdout, or on stderr when stdout carries the command's
// data (`stdoutTaken`); nothing under --quiet.
void summary(CommonOptions const &options, std::string const &text, bool stdoutTaken = false);

// "1 layer", "3 layers"; the plural is the singular and an s unless given.
std::string counted(std::size_t n, std::string const &singular, std::string const &plural = "");

// "1st", "2nd", "3rd", "4th", "11th", "22nd".
std::string ordinal(long long n);

// A file written to a temporary name in the target folder and renamed into place by
// commit(), so that readers never see a half-written file and a failure leaves nothing. The
// temporary file is made at construction (so a folder that cannot be written is found before
// any work), removed by the destructor when commit() was not reached, and removed as well if
// the tool is ended by SIGINT, SIGTERM or SIGHUP meanwhile. A host that handles those
// signals itself (the Python module, whose Ctrl-C is a KeyboardInterrupt) passes
// `removeOnSignal` false, so that no handler of the tool's replaces its own.
class AtomicFile {
public:
    explicit AtomicFile(std::string target, bool removeOnSignal = true);
    ~AtomicFile();
    AtomicFile(AtomicFile const &) = delete;
    AtomicFile &operator=(AtomicFile const &) = delete;

    std::string const &target() const { return target_; }
    // The temporary file's path, for writers that open files themselves.
    std::string const &tempPath() const { return temp_; }
    // The temporary file opened for writing (on first use), buffered; checked by commit().
    std::FILE *stream();
    // Writes `data` to the temporary file.
    void write(std::string const &data);
    // Closes the stream and renames the temporary file onto the target. Throws
    // std::runtime_error on a write error (a full disk) or a failed rename.
    void commit();

private:
    std::string target_;
    std::string temp_;
    std::FILE *stream_ = nullptr;
    int slot_ = -1;   // in the list of files removed on a signal
    bool committed_ = false;
};

// Output files of one run, checked and opened before any work, written, then committed
// together: `-o good.svg -o bad/x.json` fails before reading the model and leaves nothing.
class OutputFiles {
public:
    // Each target must be a file name (or "-" for standard output where `allowStdout`, at
    // most once), in an existing folder, not a folder, not the input `model` (the path given
    // for it, empty for none) and not named twice. Throws UsageError otherwise.
    OutputFiles(std::vector<std::string> const &targets, std::string const &model, bool allowStdout);
    std::size_t size() const { return targets_.size(); }
    std::string const &target(std::size_t i) const { return targets_[i]; }
    bool isStdout(std::size_t i) const { return targets_[i] == "-"; }
    bool usesStdout() const;
    // The file of output i (not for "-").
    AtomicFile &file(std::size_t i) { return *files_[i]; }
    // Writes output i's whole text: to its file, or to standard output.
    void write(std::size_t i, std::string const &text);
    // Commits every file.
    void commit();

private:
    std::vector<std::string> targets_;
    std::vector<std::unique_ptr<AtomicFile>> files_;
};

// Throws UsageError when `output` names the same file as `model` (a path given on the
// command line, possibly empty).
void refuseOverwritingModel(std::string const &output, std::string const &model);

// Lower-case extension of a path without the dot ("" when there is none).
std::string extensionOf(std::string const &path);
// The file name without folder and extension ("part" for "models/part.stl").
std::string stemOf(std::string const &path);

// `value` for a message, to `digits` significant digits in the shorter of the fixed and the
// exponent form.
std::string numberText(double value, int digits = 6);

// Checks before any library call: throw UsageError naming the option.
void requireFinite(double value, std::string const &option);
void requirePositive(double value, std::string const &option);
// An integer count in [1, most].
void requireCount(long long value, long long most, std::string const &option);

}  // namespace orvane
