#include "pages/log_store.h"

#include <cstring>

LogStore logStore{{}, PTHREAD_MUTEX_INITIALIZER};

void LogLines::pushFront(const char* text) {
    lines_[1] = lines_[0];
    lines_[0] = {};
    std::memcpy(lines_[0].data(), text, strnlen(text, logLineLength));
    if (size_ < kept) {
        ++size_;
    }
}
