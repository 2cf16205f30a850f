#include "qssse/platform/MemoryException.h"

#include <utility>

// The message fits the short-string buffer, so building it needs no allocation of its own.
CMemoryException::CMemoryException() : CException("out of memory") {}

CMemoryException::CMemoryException(std::string message) : CException(std::move(message)) {}

CMemoryException::~CMemoryException() = default;

void AfxThrowMemoryException() { throw CMemoryException(); }
