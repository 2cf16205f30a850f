#include "qssse/platform/CoreException.h"

#include <utility>

CbException::CbException(std::string message) : CException(std::move(message)) {}

CbException::~CbException() = default;

CbExceptionOutOfMemory::CbExceptionOutOfMemory() : CbException("out of memory") {}

CbExceptionOutOfMemory::CbExceptionOutOfMemory(std::string message) : CbException(std::move(message)) {}

CbExceptionOutOfMemory::~CbExceptionOutOfMemory() = default;
