#include "cli_support.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <signal.h>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orvane {

namespace {
using Clock = std::chrono::steady_clock;
Clock::time_point const runStart = Clock::now();
constexpr auto kRefresh = std::chrono::milliseconds(250);

std::string secondsText(double seconds) {
    std::ostringstream s;
    s << std::fixed << std::setprecision(seconds < 10 ? 2 : 1) << seconds << " s";
    return s.str();
}
}  // namespace

double secondsSinceStart() { return std::chrono::duration<double>(Clock::now() - runStart).count(); }

std::string runTimes(double algorithmSeconds, std::string const &algorithm) {
    return secondsText(secondsSinceStart()) + " in all, " + secondsText(algorithmSeconds) + " " + algorithm;
}

int finishRun(int code) {
    std::cout.flush();
    if (!std::cout || std::fflush(stdout) != 0) {
        std::cerr << "orvane: cannot write to standard output: " << std::strerror(errno) << "\n";
        code = 1;
    }
#if defined(__SANITIZE_ADDRESS__)
    return code;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    return code;
#endif
#endif
    std::cerr.flush();
    std::_Exit(code);
}

Progress::Progress(CommonOptions const &options)
    : enabled_(!options.quiet && (options.progress || ::isatty(STDERR_FILENO) == 1)),
      terminal_(::isatty(STDERR_FILENO) == 1) {
    if (enabled_ && terminal_) ticker_ = std::thread([this] { tick(); });
}

Progress::~Progress() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        // A stage still open here was cut short by an error: clear its line for the message.
        if (open_ && enabled_ && terminal_) std::cerr << "\r\033[K" << std::flush;
    }
    wake_.notify_all();
    if (ticker_.joinable()) ticker_.join();
}

void Progress::tick() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        wake_.wait_for(lock, kRefresh);
        if (!stopping_ && open_) show(false);
    }
}

void Progress::show(bool force) {
    auto const now = Clock::now();
    if (!force && now - shown_ < kRefresh) return;
    shown_ = now;
    std::cerr << "\r\033[K" << stage_ << "... ";
    if (total_ > 0)
        std::cerr << static_cast<int>(100.0 * static_cast<double>(std::min(done_, total_)) /
                                      static_cast<double>(total_))
                  << "%";
    else
        std::cerr << secondsText(std::chrono::duration<double>(now - started_).count());
    std::cerr << std::flush;
}

void Progress::stage(std::string const &what, std::size_t total) {
    if (open_) done();
    std::lock_guard<std::mutex> lock(mutex_);
    stage_ = what;
    total_ = total;
    done_ = 0;
    open_ = true;
    started_ = Clock::now();
    if (!enabled_) return;
    if (terminal_) show(true);
    else std::cerr << what << "...\n";
}

void Progress::step(std::size_t done) {
    if (!enabled_ || !terminal_) return;
    std::lock_guard<std::mutex> lock(mutex_);
    if (!open_ || total_ == 0) return;
    done_ = done;
    show(false);
}

void Progress::step(std::size_t done, std::size_t total) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        total_ = total;
    }
    step(done);
}

double Progress::done() {
    std::lock_guard<std::mutex> lock(mutex_);
    double const seconds = std::chrono::duration<double>(Clock::now() - started_).count();
    if (!open_) return 0;
    open_ = false;
    if (!enabled_) return seconds;
    if (terminal_) std::cerr << "\r\033[K" << stage_ << "... done, " << secondsText(seconds) << "\n" << std::flush;
    else std::cerr << stage_ << ": done, " << secondsText(seconds) << "\n" << std::flush;
    return seconds;
}

void Progress::message(std::string const &text) {
    if (!enabled_) return;
    std::lock_guard<std::mutex> lock(mutex_);
    if (open_ && terminal_) std::cerr << "\r\033[K";
    std::cerr << text << "\n" << std::flush;
    if (open_ && terminal_) show(true);
}

void warn(CommonOptions const &options, std::string const &text) {
    if (!options.quiet) std::cerr << "orvane: warning: " << text << "\n";
}

void note(CommonOptions const &options, std::string const &text) {
    if (!options.quiet) std::cerr << "orvane: note: " << text << "\n";
}

void summary(CommonOptions const &options, std::string const &text, bool stdoutTaken) {
    if (options.quiet) return;
    (stdoutTaken ? std::cerr : std::cout) << text << "\n";
}

std::string counted(std::size_t n, std::string const &singular, std::string const &plural) {
    return std::to_string(n) + " " + (n == 1 ? singular : plural.empty() ? singular + "s" : plural);
}

std::string ordinal(long long n) {
    long long const tens = n % 100, ones = n % 10;
    char const *suffix = tens >= 11 && tens <= 13 ? "th" : ones == 1 ? "st" : ones == 2 ? "nd" : ones == 3 ? "rd" : "th";
    return std::to_string(n) + suffix;
}

namespace {

// Temporary files to remove when a signal ends the tool. The handler may only make
// async-signal-safe calls, so the paths live in fixed buffers and a slot is published by
// an atomic flag once its path is complete.
constexpr int kTempSlots = 32;
struct TempSlot {
    std::atomic<bool> used{false};
    char path[4096];
};
TempSlot tempSlots[kTempSlots];
std::atomic<bool> handlersInstalled{false};

extern "C" void removeTempFilesAndDie(int sig) {
    for (TempSlot &slot : tempSlots)
        if (slot.used.load()) ::unlink(slot.path);
    std::signal(sig, SIG_DFL);
    std::raise(sig);
}

int registerTemp(std::string const &path) {
    if (!handlersInstalled.exchange(true))
        for (int sig : {SIGINT, SIGTERM, SIGHUP}) {
            struct sigaction action {};
            action.sa_handler = removeTempFilesAndDie;
            sigemptyset(&action.sa_mask);
            ::sigaction(sig, &action, nullptr);
        }
    if (path.size() >= sizeof tempSlots[0].path) return -1;
    for (int i = 0; i < kTempSlots; ++i) {
        TempSlot &slot = tempSlots[i];
        if (slot.used.load()) continue;
        std::memcpy(slot.path, path.c_str(), path.size() + 1);
        slot.used.store(true);
        return i;
    }
    return -1;
}

void unregisterTemp(int slot) {
    if (slot >= 0) tempSlots[slot].used.store(false);
}

}  // namespace

AtomicFile::AtomicFile(std::string target, bool removeOnSignal) : target_(std::move(target)) {
    namespace fs = std::filesystem;
    fs::path const path(target_);
    std::error_code ec;
    if (fs::is_directory(path, ec))
        throw UsageError("output '" + target_ + "' is a folder; give a file name");
    fs::path folder = path.parent_path();
    if (folder.empty()) folder = ".";
    if (!fs::is_directory(folder, ec))
        throw UsageError("cannot write '" + target_ + "': folder '" + folder.string() +
                         "' does not exist");
    // Same folder as the target, so that the final rename never crosses file systems.
    std::string pattern = (folder / ("." + path.filename().string() + ".tmp-XXXXXX")).string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    int fd = ::mkstemp(buffer.data());
    if (fd < 0)
        throw UsageError("cannot write '" + target_ + "': " + std::strerror(errno));
    temp_ = buffer.data();
    if (removeOnSignal) slot_ = registerTemp(temp_);
    // mkstemp creates the file readable by its owner only; give it the usual mode.
    mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);
    ::close(fd);
}

AtomicFile::~AtomicFile() {
    if (stream_) std::fclose(stream_);
    if (!committed_) ::unlink(temp_.c_str());
    unregisterTemp(slot_);
}

std::FILE *AtomicFile::stream() {
    if (!stream_) {
        stream_ = std::fopen(temp_.c_str(), "wb");
        if (!stream_) throw std::runtime_error("cannot write '" + target_ + "': " + std::strerror(errno));
        std::setvbuf(stream_, nullptr, _IOFBF, 1 << 20);
    }
    return stream_;
}

void AtomicFile::write(std::string const &data) {
    std::FILE *f = stream();
    if (std::fwrite(data.data(), 1, data.size(), f) != data.size())
        throw std::runtime_error("cannot write '" + target_ + "' (disk full?)");
}

void AtomicFile::commit() {
    if (stream_) {
        bool ok = !std::ferror(stream_);
        ok = std::fflush(stream_) == 0 && ok;
        ok = std::fclose(stream_) == 0 && ok;
        stream_ = nullptr;
        if (!ok) throw std::runtime_error("cannot write '" + target_ + "' (disk full?)");
    }
    if (std::rename(temp_.c_str(), target_.c_str()) != 0)
        throw std::runtime_error("cannot write '" + target_ + "': " + std::strerror(errno));
    committed_ = true;
    unregisterTemp(slot_);
    slot_ = -1;
}

namespace {
// Where a path leads, for comparing outputs with each other and with the input: the real
// path of an existing file, else its folder's real path and its name.
std::filesystem::path resolved(std::string const &path) {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::path const canonical = fs::weakly_canonical(fs::absolute(path, ec), ec);
    return ec ? fs::path(path).lexically_normal() : canonical;
}
}  // namespace

void refuseOverwritingModel(std::string const &output, std::string const &model) {
    namespace fs = std::filesystem;
    if (model.empty() || output == "-") return;
    std::error_code ec;
    bool const same = fs::exists(output, ec) && fs::exists(model, ec) ? fs::equivalent(output, model, ec)
                                                                      : resolved(output) == resolved(model);
    if (same) throw UsageError("output '" + output + "' is the input model; choose another name");
}

OutputFiles::OutputFiles(std::vector<std::string> const &targets, std::string const &model, bool allowStdout)
    : targets_(targets) {
    std::vector<std::filesystem::path> seen;
    for (std::string const &target : targets_) {
        if (target.empty()) throw UsageError("an output name is empty");
        if (target == "-" && !allowStdout) throw UsageError("this command cannot write to standard output ('-o -')");
        refuseOverwritingModel(target, model);
        std::filesystem::path const where = target == "-" ? std::filesystem::path("-") : resolved(target);
        if (std::find(seen.begin(), seen.end(), where) != seen.end())
            throw UsageError("output '" + target + "' is given twice");
        seen.push_back(where);
    }
    for (std::string const &target : targets_)
        files_.push_back(target == "-" ? nullptr : std::make_unique<AtomicFile>(target));
}

bool OutputFiles::usesStdout() const {
    return std::find(targets_.begin(), targets_.end(), "-") != targets_.end();
}

void OutputFiles::write(std::size_t i, std::string const &text) {
    if (files_[i]) files_[i]->write(text);
    else std::cout << text;
}

void OutputFiles::commit() {
    for (auto &file : files_)
        if (file) file->commit();
}

std::string extensionOf(std::string const &path) {
    std::string ext = std::filesystem::path(path).extension().string();
    if (!ext.empty()) ext.erase(0, 1);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

std::string stemOf(std::string const &path) { return std::filesystem::path(path).stem().string(); }

std::string numberText(double value, int digits) {
    std::ostringstream s;
    s << std::setprecision(digits) << value;
    return s.str();
}

void requireFinite(double value, std::string const &option) {
    if (!std::isfinite(value))
        throw UsageError(option + " must be a finite number (got " + numberText(value) + ")");
}

void requirePositive(double value, std::string const &option) {
    requireFinite(value, option);
    if (!(value > 0))
        throw UsageError(option + " must be greater than 0 (got " + numberText(value) + ")");
}

void requireCount(long long value, long long most, std::string const &option) {
    if (value < 1)
        throw UsageError(option + " must be at least 1 (got " + std::to_string(value) + ")");
    if (value > most)
        throw UsageError(option + " must be at most " + std::to_string(most) + " (got " +
                         std::to_string(value) + ")");
}

}  // namespace orvane
