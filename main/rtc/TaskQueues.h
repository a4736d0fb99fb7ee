// The WebRTC library's task queues.
#pragma once

#include <api/task_queue/task_queue_base.h>
#include <api/task_queue/task_queue_factory.h>

#include <chrono>
#include <memory>

namespace vantora {

// The library's own queues, except for the one of its congestion control. The library posts a task to that one for each
// packet sent, acknowledgements of a viewer's file included, and waking its thread takes longer than the task: it is
// woken once every kTaskBatch at most. Threads: any.
std::unique_ptr<webrtc::TaskQueueFactory> makeTaskQueues();

inline constexpr std::chrono::microseconds kTaskBatch{500};

// A queue that runs the tasks of `inner` in batches: a task that is posted within kTaskBatch after a batch has begun
// waits for the rest of that time. Delayed tasks may be late by as much. Tasks that wait when it is deleted are
// dropped.
std::unique_ptr<webrtc::TaskQueueBase, webrtc::TaskQueueDeleter> makeBatchedTaskQueue(
    std::unique_ptr<webrtc::TaskQueueBase, webrtc::TaskQueueDeleter> inner);

}  // namespace vantora
