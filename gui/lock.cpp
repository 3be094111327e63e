#include "gui/lcd.h"

#include <cstddef>
#include <cstring>

// The counter and the owner are read before the mutex is taken. The owner is stored first and the
// counter after it with release; a reader that sees the counter (acquire) therefore sees this
// owner or a later one. Only a thread itself ever stores its own id, so a thread that finds its
// id beside a counter above 0 really is the holder.
constinit std::atomic<std::int32_t> GUI_LockCnt{0};
constinit std::atomic<pthread_t> GUI_LockOwner{0};
constinit GUI_TaskContext GUI_aTaskContext[GUI_TASK_SLOTS]{};
std::int32_t GUI_CurrentTaskSlot = -1;

namespace {

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

// The caller's slot, claimed if it has none yet; slot 0 is shared when all belong to others.
std::int32_t findTaskSlot(pthread_t caller) {
    for (std::int32_t i = 0; i < GUI_TASK_SLOTS; ++i) {
        GUI_TaskContext& slot = GUI_aTaskContext[i];
        if (slot.TaskId == 0) {
            slot.TaskId = caller;
        }
        if (slot.TaskId == caller) {
            return i;
        }
    }
    return 0;
}

// Copies a context into the live one, but for the two fields that other threads may be reading
// meanwhile: these are stored as whole values.
void putInForce(const GUI_CONTEXT& context) {
    const auto copy = [&](std::size_t begin, std::size_t end) {
        std::memcpy(reinterpret_cast<char*>(&GUI_Context) + begin,
                    reinterpret_cast<const char*>(&context) + begin, end - begin);
    };
    copy(0, offsetof(GUI_CONTEXT, pFont));
    storeForUnlocked(GUI_Context.pFont, context.pFont);
    copy(offsetof(GUI_CONTEXT, pEncodeAPI), offsetof(GUI_CONTEXT, TextAlign));
    storeForUnlocked(GUI_Context.TextAlign, context.TextAlign);
    copy(offsetof(GUI_CONTEXT, Color), sizeof(GUI_CONTEXT));
}

void switchContext(std::int32_t slot) {
    if (slot == GUI_CurrentTaskSlot) {
        return;
    }
    if (GUI_CurrentTaskSlot >= 0) {
        GUI_aTaskContext[GUI_CurrentTaskSlot].Context = GUI_Context;
        putInForce(GUI_aTaskContext[slot].Context);
    }
    // With no current slot the live context is adopted as it stands.
    GUI_CurrentTaskSlot = slot;
}

} // namespace

void GUI_X_Lock() {
    pthread_mutex_lock(&mutex);
}

void GUI_X_Unlock() {
    pthread_mutex_unlock(&mutex);
}

void GUI_X_Init() {}

void GUI_Lock() {
    const pthread_t self = pthread_self();
    const bool isHeld = GUI_LockCnt.load(std::memory_order_acquire) != 0 &&
                        GUI_LockOwner.load(std::memory_order_relaxed) == self;
    if (!isHeld) {
        GUI_X_Lock();
        GUI_LockOwner.store(self, std::memory_order_relaxed);
    }
    const std::int32_t depth = GUI_LockCnt.load(std::memory_order_relaxed) + 1;
    GUI_LockCnt.store(depth, std::memory_order_release);
    if (depth == 1) {
        switchContext(findTaskSlot(self));
    }
}

void GUI_Unlock() {
    const std::int32_t depth = GUI_LockCnt.load(std::memory_order_relaxed) - 1;
    GUI_LockCnt.store(depth, std::memory_order_release);
    if (depth == 0) {
        GUI_X_Unlock();
    }
}
