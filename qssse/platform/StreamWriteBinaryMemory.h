#pragma once
#include "qssse/platform/Export.h"
#include "qssse/platform/StreamWriteBinary.h"

#include <cstddef>
#include <vector>

// A binary output stream that collects the bytes in memory.
class QSSSE_API CbStreamWriteBinaryMemory : public CbStreamWriteBinary {
 public:
  CbStreamWriteBinaryMemory();
  ~CbStreamWriteBinaryMemory() override;

  // Everything written so far.
  const std::vector<unsigned char>& GetData() const;
  std::size_t GetSize() const;

 protected:
  // Throws CbExceptionOutOfMemory when the bytes cannot grow.
  void PutBytes(const void* data, std::size_t bytes) override;

 private:
  std::vector<unsigned char> m_data;
};
