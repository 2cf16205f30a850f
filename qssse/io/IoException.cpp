#include "qssse/io/IoException.h"

#include "qssse/io/detail/Bytes.h"

CIoException::CIoException(const std::string& file, const std::string& problem)
    : CException(qssse::io::detail::OneLine(file) + ": " + qssse::io::detail::OneLine(problem)),
      m_file(qssse::io::detail::OneLine(file)),
      m_problem(qssse::io::detail::OneLine(problem)) {}

CIoException::~CIoException() = default;
