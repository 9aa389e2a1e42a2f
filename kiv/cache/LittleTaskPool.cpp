#include "kiv/cache/LittleTaskPool.h"

#include <memory>
#include <stdexcept>
#include <utility>

#include "kiv/object/AutoComInitializer.h"

using SimpleSync::CSimpleMutexLock;

namespace LTask {

CLittleTaskPool::CLittleTaskPool() {
  workers_.emplace_back([this] { Work(); });
}

CLittleTaskPool::~CLittleTaskPool() {
  {
    CSimpleMutexLock guard(lock_);
    stop_ = true;
  }
  wake_.WakeAll();
  for (std::thread& worker : workers_) worker.join();
}

std::future<int32_t> CLittleTaskPool::enqueue(std::function<int32_t()> task) {
  const auto packaged = std::make_shared<std::packaged_task<int32_t()>>(std::move(task));
  std::future<int32_t> result = packaged->get_future();
  Append([packaged] { (*packaged)(); });
  wake_.WakeAll();
  return result;
}

void CLittleTaskPool::Append(Task task) {
  CSimpleMutexLock guard(lock_);
  if (stop_) throw std::runtime_error("enqueue on stopped ThreadPool");
  tasks_.push(std::move(task));
}

CLittleTaskPool::Task CLittleTaskPool::WaitForTask() {
  CSimpleMutexLock guard(lock_);
  while (!stop_ && tasks_.empty()) wake_.Wait(lock_);
  if (tasks_.empty()) return nullptr;
  Task task = std::move(tasks_.front());
  tasks_.pop();
  return task;
}

void CLittleTaskPool::Work() {
  const CAutoCOMInitializer apartment;
  while (const Task task = WaitForTask()) task();
}

}  // namespace LTask
