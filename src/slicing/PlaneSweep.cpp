#include "slicing/PlaneSweep.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace ORVANE_DATABASE {
namespace slicing {

std::size_t PlaneSweep::guess(double x) const {
    std::vector<double> const &g = *groups_;
    double const q = std::ceil((x - origin_) * inverseStep_);
    if (!(q > 0.0)) return 0;
    if (q >= static_cast<double>(g.size())) return g.size();
    return static_cast<std::size_t>(q);
}

// The planes are evenly spaced, so an affine guess lands within a step or two of the answer;
// a short walk corrects it, and a binary search takes over when the walk runs long (groups
// merged from equal distances break the even spacing).
std::size_t PlaneSweep::firstAtLeast(double x) const {
    std::vector<double> const &g = *groups_;
    std::size_t k = guess(x);
    for (int steps = 0; steps < 4; ++steps) {
        if (k > 0 && g[k - 1] >= x)
            --k;
        else if (k < g.size() && g[k] < x)
            ++k;
        else
            return k;
    }
    return static_cast<std::size_t>(std::lower_bound(g.begin(), g.end(), x) - g.begin());
}

std::size_t PlaneSweep::firstAbove(double x) const {
    std::vector<double> const &g = *groups_;
    std::size_t k = guess(x);
    for (int steps = 0; steps < 4; ++steps) {
        if (k > 0 && g[k - 1] > x)
            --k;
        else if (k < g.size() && g[k] <= x)
            ++k;
        else
            return k;
    }
    return static_cast<std::size_t>(std::upper_bound(g.begin(), g.end(), x) - g.begin());
}

void PlaneSweep::start(std::vector<double> const &groups, std::size_t triangles) {
    if (triangles > std::numeric_limits<Index>::max() - 1 ||
        groups.size() > std::numeric_limits<Index>::max() - 1)
        throw std::length_error("PlaneSweep: too many triangles or planes");
    groups_ = &groups;
    group_ = 0;
    origin_ = groups.empty() ? 0.0 : groups.front();
    inverseStep_ = 0.0;
    if (groups.size() > 1) {
        double const step = (groups.back() - groups.front()) / static_cast<double>(groups.size() - 1);
        if (step > 0.0 && std::isfinite(1.0 / step)) inverseStep_ = 1.0 / step;
    }
    lastGroup_.assign(triangles, kNever);
    filed_.assign(triangles, kNever);   // entering group for now, see finish()
    bucketStart_.assign(groups.size() + 1, 0);
    active_.clear();
    pool_.clear();
    free_.clear();
}

void PlaneSweep::file(std::size_t t, double low, double high) {
    std::size_t first = 0, end = groups_->size();
    if (std::isfinite(low) && std::isfinite(high)) {
        first = firstAtLeast(low);
        end = firstAbove(high);
    }
    if (first >= end) return;
    filed_[t] = static_cast<Index>(first);
    lastGroup_[t] = std::isfinite(low) && std::isfinite(high) ? static_cast<Index>(end - 1) : kNever;
    ++bucketStart_[first + 1];
}

// A stable counting sort by entering group, so that every bucket is in ascending index.
void PlaneSweep::finish() {
    std::size_t const groupCount = groups_->size();
    for (std::size_t g = 0; g < groupCount; ++g) bucketStart_[g + 1] += bucketStart_[g];
    std::vector<Index> fill(bucketStart_.begin(), bucketStart_.end() - 1);
    std::vector<Index> order(bucketStart_[groupCount]);
    filedLast_.resize(order.size());
    for (std::size_t t = 0; t < filed_.size(); ++t)
        if (filed_[t] != kNever) {
            Index const p = fill[filed_[t]]++;
            order[p] = static_cast<Index>(t);
            filedLast_[p] = lastGroup_[t];
        }
    filed_.swap(order);
    std::vector<Index>().swap(lastGroup_);
}

}  // namespace slicing
}  // namespace ORVANE_DATABASE
