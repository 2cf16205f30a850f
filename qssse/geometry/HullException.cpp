#include "qssse/geometry/HullException.h"

#include <utility>

CHullException::CHullException(Cause cause, std::string message) : CException(std::move(message)), m_cause(cause) {}

CHullException::~CHullException() = default;
