#include "qssse/platform/Exception.h"

#include <utility>

CException::CException(std::string message) : m_message(std::move(message)) {}

CException::~CException() = default;

const char* CException::what() const noexcept { return m_message.c_str(); }
