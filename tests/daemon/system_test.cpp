#include <dlfcn.h>
#include <gtest/gtest.h>
#include <spawn.h>

#include <cerrno>

#include "daemon/system/shell.h"
#include "daemon/system/worker.h"

namespace {

bool memory_is_out = false;

template <class Function>
Function original(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* actions, int fd,
                                                int new_fd) noexcept {
  if (memory_is_out) return ENOMEM;
  return original<decltype(&posix_spawn_file_actions_adddup2)>(__func__)(actions, fd, new_fd);
}

extern "C" int pthread_attr_setstacksize(pthread_attr_t* attributes, std::size_t size) noexcept {
  if (memory_is_out) return ENOMEM;
  return original<decltype(&pthread_attr_setstacksize)>(__func__)(attributes, size);
}

namespace kovo {
namespace {

void* stack_size(void* size) {
  pthread_attr_t attributes;
  pthread_getattr_np(pthread_self(), &attributes);
  pthread_attr_getstacksize(&attributes, static_cast<std::size_t*>(size));
  pthread_attr_destroy(&attributes);
  return nullptr;
}

TEST(Shell, ACommandThatCannotHaveThePipeIsNotRun) {
  testing::internal::CaptureStdout();
  memory_is_out = true;
  {
    Pipe pipe;
    EXPECT_FALSE(open_pipe(pipe, "echo to the stdout of the daemon"));
  }
  memory_is_out = false;
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(Worker, AStackIsNeverBelowThePlatformsMinimumNorTheDefault) {
  pthread_t thread;
  std::size_t size = 0;
  ASSERT_EQ(start_thread("test", thread, 1, stack_size, &size), 0);
  pthread_join(thread, nullptr);
  EXPECT_LE(size, std::size_t{1} << 20) << "sanitizers add to it";
  memory_is_out = true;
  EXPECT_EQ(start_thread("test", thread, 1, stack_size, &size), ENOMEM);
  memory_is_out = false;
}

}  // namespace
}  // namespace kovo
