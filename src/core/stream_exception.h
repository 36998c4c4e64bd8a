// Stream faults as exceptions: a thrower gives only a number, and the
// exception looks up the text the user reads.
#pragma once

#include <cstdint>

// Abstract base of the stream faults, thrown and caught by value or reference.
class Except {
 public:
  virtual ~Except() = default;
  virtual const char* GetName() const = 0;
  virtual const char* GetMessage() const = 0;

  int32_t code = 0;
  char detail[128] = {};  // zero-terminated, or empty
};

// A numbered fault of a media stream. The texts are static, so a message
// pointer stays valid after the exception is gone.
class CStreamException : public Except {
 public:
  explicit CStreamException(int32_t faultCode);
  CStreamException(const CStreamException& other);
  CStreamException& operator=(const CStreamException& other);

  // "MpegStreamExcept".
  const char* GetName() const override;
  // The text of `code`, or "Unknown error." for a number without one. Looks
  // at the code alone, never at `detail`.
  const char* GetMessage() const override;
};
