#include "CorvaneLogger/LogNoiseReducer.h"

#include "CorvaneLogger/Levels.h"
#include "foundation/Clock.h"

namespace CorvaneLogger {

using namespace WindowsAgentCommon::detail;

LogNoiseReducer::LogNoiseReducer()
    : maxRepeats_(100), period_(60), demoteLevel_(kLevelDebug), count_(0), firstTime_(0), lastKey_(nullptr) {}

bool LogNoiseReducer::canLog(const char* key) {
    const std::int64_t now = SteadyTicks() / kTicksPerSecond;
    if (key != nullptr && key != lastKey_) {
        count_ = 1;
        firstTime_ = now;
        lastKey_ = key;
        return true;
    }
    if (count_++ == 0) {
        firstTime_ = now;
        return true;
    }
    // The call that ends the repetitions is demoted as well: deliberate, the one after it passes.
    if (count_ >= maxRepeats_ || firstTime_ + period_ <= now) count_ = 0;
    return false;
}

}  // namespace CorvaneLogger
