#include "qssse/platform/Event.h"

#include <chrono>

CEvent::CEvent(bool initiallyOwn, bool manualReset) : m_set(initiallyOwn), m_manualReset(manualReset) {}

CEvent::~CEvent() = default;

bool CEvent::SetEvent() {
  // Notified under the lock: a waiter may destroy the event as soon as it wakes, and must not be
  // able to do so while this call still touches the condition variable.
  std::lock_guard<std::mutex> lock(m_mutex);
  m_set = true;
  if (m_manualReset)
    m_changed.notify_all();
  else
    m_changed.notify_one();
  return true;
}

bool CEvent::ResetEvent() {
  std::lock_guard<std::mutex> lock(m_mutex);
  m_set = false;
  return true;
}

bool CEvent::Lock(unsigned timeoutMs) {
  std::unique_lock<std::mutex> lock(m_mutex);
  const auto isSet = [this] { return m_set; };
  if (timeoutMs == INFINITE_WAIT)
    m_changed.wait(lock, isSet);
  else if (!m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), isSet))
    return false;
  if (!m_manualReset) m_set = false;
  return true;
}

bool SetEvent(CEvent& event) { return event.SetEvent(); }

bool ResetEvent(CEvent& event) { return event.ResetEvent(); }

bool WaitForSingleObject(CEvent& event, unsigned timeoutMs) { return event.Lock(timeoutMs); }
