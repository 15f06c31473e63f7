#include "cli_support.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orvane {

Progress::Progress(CommonOptions const &options)
    : enabled_(!options.quiet && (options.progress || ::isatty(STDERR_FILENO) == 1)),
      terminal_(::isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    // A stage still open here was cut short by an error: clear its line for the message.
    if (open_ && enabled_ && terminal_) std::cerr << "\r\033[K" << std::flush;
}

void Progress::stage(std::string const &what, std::size_t total) {
    if (open_) done();
    stage_ = what;
    total_ = total;
    lastPercent_ = -1;
    open_ = true;
    if (!enabled_) return;
    if (terminal_) std::cerr << "\r\033[K" << what << "..." << std::flush;
    else std::cerr << what << "...\n";
}

void Progress::step(std::size_t done) {
    if (!enabled_ || !open_ || total_ == 0 || !terminal_) return;
    int percent = static_cast<int>(100.0 * static_cast<double>(std::min(done, total_)) /
                                   static_cast<double>(total_));
    if (percent == lastPercent_) return;
    lastPercent_ = percent;
    std::cerr << "\r\033[K" << stage_ << "... " << percent << "%" << std::flush;
}

void Progress::done() {
    if (!open_) return;
    open_ = false;
    if (!enabled_) return;
    if (terminal_) std::cerr << "\r\033[K" << stage_ << "... done\n" << std::flush;
}

void Progress::message(std::string const &text) {
    if (!enabled_) return;
    if (open_ && terminal_) std::cerr << "\r\033[K";
    std::cerr << text << "\n" << std::flush;
}

void warn(CommonOptions const &options, std::string const &text) {
    if (!options.quiet) std::cerr << "orvane: warning: " << text << "\n";
}

AtomicFile::AtomicFile(std::string target) : target_(std::move(target)) {
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
    // mkstemp creates the file readable by its owner only; give it the usual mode.
    mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);
    ::close(fd);
    temp_ = buffer.data();
}

AtomicFile::~AtomicFile() {
    if (!committed_) ::unlink(temp_.c_str());
}

void AtomicFile::write(std::string const &data) {
    std::FILE *f = std::fopen(temp_.c_str(), "wb");
    if (!f) throw std::runtime_error("cannot write '" + target_ + "': " + std::strerror(errno));
    bool ok = std::fwrite(data.data(), 1, data.size(), f) == data.size();
    ok = std::fflush(f) == 0 && ok;
    ok = std::fclose(f) == 0 && ok;
    if (!ok) throw std::runtime_error("cannot write '" + target_ + "' (disk full?)");
}

void AtomicFile::commit() {
    if (std::rename(temp_.c_str(), target_.c_str()) != 0)
        throw std::runtime_error("cannot write '" + target_ + "': " + std::strerror(errno));
    committed_ = true;
}

std::string extensionOf(std::string const &path) {
    std::string ext = std::filesystem::path(path).extension().string();
    if (!ext.empty()) ext.erase(0, 1);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

std::string stemOf(std::string const &path) { return std::filesystem::path(path).stem().string(); }

namespace {
std::string numberText(double value) {
    std::ostringstream s;
    s << value;
    return s.str();
}
}  // namespace

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

void releaseContour(odb::PLC *contour) {
    if (!contour) return;
    std::vector<odb::Point3D *> *points = contour->pointList();
    delete contour;
    for (odb::Point3D *p : *points) delete p;
    delete points;
}

void BspRelease::operator()(odb::BSPTree const *tree) const {
    // Triangulation::BSP() hands out a const tree that the caller still ends with release().
    if (tree) const_cast<odb::BSPTree *>(tree)->release();
}

ContourData contourData(odb::PLC &contour) {
    ContourData data;
    data.name = contour.getName();
    for (odb::Point3D const *p : *contour.pointList()) data.points.push_back(*p);
    if (data.points.size() >= 2) {
        odb::Point3D const &a = data.points.front();
        odb::Point3D const &b = data.points.back();
        data.closed = std::fabs(a.x() - b.x()) < 1e-8 && std::fabs(a.y() - b.y()) < 1e-8 &&
                      std::fabs(a.z() - b.z()) < 1e-8;
    }
    return data;
}

}  // namespace orvane
