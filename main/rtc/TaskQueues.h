// The WebRTC library's task queues.
#pragma once

#include <api/task_queue/task_queue_base.h>
#include <api/task_queue/task_queue_factory.h>

#include <chrono>
#include <memory>

namespace vantora {

// The library's own queues, except for the one of its congestion control. The library posts a task to that one for each
// packet sent, acknowledgements of a viewer's file included, and waking its thread takes longer than the task: it is
// woken once every kTaskBatch at most. Its periodic tasks (twice 40 times a second) run ten times a second while next
// to nothing is sent. Threads: any.
std::unique_ptr<webrtc::TaskQueueFactory> makeTaskQueues();

inline constexpr std::chrono::microseconds kTaskBatch{500};

// A queue is quiet when at most kQuietTasks tasks were posted in the last kQuietAfter, until there are more.
inline constexpr int kQuietTasks = 12;
inline constexpr std::chrono::milliseconds kQuietAfter{250};
inline constexpr std::chrono::microseconds kQuietTick{100'000};

// A queue that runs the tasks of `inner` in batches: a task that is posted within kTaskBatch after a batch has begun
// waits for the rest of that time. Delayed tasks may be late by as much; while the queue is quiet, those without high
// precision wait until the monotonic clock is at a multiple of kQuietTick. Tasks that wait when it is deleted are
// dropped.
std::unique_ptr<webrtc::TaskQueueBase, webrtc::TaskQueueDeleter> makeBatchedTaskQueue(
    std::unique_ptr<webrtc::TaskQueueBase, webrtc::TaskQueueDeleter> inner);

}  // namespace vantora
