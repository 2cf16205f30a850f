#include "qssse/platform/InvalidArgumentException.h"

#include <utility>

CInvalidArgumentException::CInvalidArgumentException(std::string message) : CException(std::move(message)) {}

CInvalidArgumentException::~CInvalidArgumentException() = default;

void AfxThrowInvalidArgumentException(std::string message) { throw CInvalidArgumentException(std::move(message)); }
