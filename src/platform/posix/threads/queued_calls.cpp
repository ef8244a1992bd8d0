// Calls that a thread makes in its alertable waits.

#include <stdlib.h>

#include "platform/image_imports.h"
#include "platform/posix/threads/thread_record.h"

namespace tarn::platform {

struct QueuedCall {
  QueuedCall* next;
  QueuedRoutine routine;
  std::uint64_t argument;
};

namespace {

QueuedCall* take_first(ThreadRecord* thread) {
  const WaitsLock lock;
  QueuedCall* const call = thread->first_call;
  if (call == nullptr) return nullptr;
  thread->first_call = call->next;
  if (call->next == nullptr) thread->last_call = nullptr;
  --thread->calls.count;
  return call;
}

}  // namespace

Waitable* own_queued_calls() {
  ThreadRecord* const thread = own_thread();
  return thread == nullptr ? nullptr : &thread->calls;
}

void run_queued_calls() {
  ThreadRecord* const thread = own_thread_if_known();
  while (QueuedCall* const call = take_first(thread)) {
    const QueuedCall taken = *call;
    free(call);  // the routine may leave by a jump
    taken.routine(taken.argument);
  }
}

void drop_queued_calls(ThreadRecord* thread) {
  while (QueuedCall* const call = thread->first_call) {
    thread->first_call = call->next;
    free(call);
  }
  thread->last_call = nullptr;
}

Bool QueueUserAPC(QueuedRoutine routine, Handle handle, std::uint64_t argument) {
  auto* const call = static_cast<QueuedCall*>(malloc(sizeof(QueuedCall)));
  if (call == nullptr) return fail(kErrorNotEnoughMemory);
  *call = {nullptr, routine, argument};
  const WaitsLock lock;
  ThreadRecord* const thread = find_thread(handle);
  if (thread == nullptr || thread->count > 0) {
    free(call);
    return thread == nullptr ? 0 : fail(kErrorGenFailure);
  }
  (thread->last_call != nullptr ? thread->last_call->next : thread->first_call) = call;
  thread->last_call = call;
  raise_count(&thread->calls, 1);
  return 1;
}

}  // namespace tarn::platform
