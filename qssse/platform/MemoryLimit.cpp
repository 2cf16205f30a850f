#include "qssse/platform/MemoryLimit.h"

#include <atomic>
#include <string>

#include "qssse/platform/AlignedMemory.h"
#include "qssse/platform/MemoryException.h"

namespace qssse {
namespace {

// 0 stands for the default, looked up once.
std::atomic<std::uint64_t> g_limit{0};

std::uint64_t DefaultLimit() noexcept {
  static const std::uint64_t physical = physicalMemoryBytes();
  return physical;
}

[[noreturn]] void Refuse(const std::string& amount, const char* what) {
  throw CMemoryException("out of memory: " + std::string(what != nullptr ? what : "an object") + " needs " +
                         amount + " bytes, more than the limit of " + std::to_string(GetMemoryLimit()));
}

}  // namespace

void SetMemoryLimit(std::uint64_t bytes) noexcept { g_limit.store(bytes, std::memory_order_relaxed); }

std::uint64_t GetMemoryLimit() noexcept {
  const std::uint64_t set = g_limit.load(std::memory_order_relaxed);
  return set != 0 ? set : DefaultLimit();
}

void CheckMemoryRequest(std::uint64_t bytes, const char* what) {
  if (bytes > GetMemoryLimit()) Refuse(std::to_string(bytes), what);
}

void CheckMemoryRequest(std::uint64_t count, std::uint64_t bytesEach, std::uint64_t extra, const char* what) {
  std::uint64_t product = 0;
  if (__builtin_mul_overflow(count, bytesEach, &product) || __builtin_add_overflow(product, extra, &product)) {
    Refuse(std::to_string(count) + " x " + std::to_string(bytesEach) + " + " + std::to_string(extra), what);
  }
  CheckMemoryRequest(product, what);
}

}  // namespace qssse
