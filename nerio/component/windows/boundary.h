#pragma once

#include <new>

#include "nerio/hosts/windows/automation/bstr.h"

namespace nerio::component {

/// Turns the exception that is being handled into what a COM method answers. An `Error` becomes the error information
/// of this thread, with its source and description; a script sees it as its Err object. Its number is the answer where
/// it is a COM error code; a plain number n from 0 to 65535 is 0x800A0000 + n, which scripts and Visual Basic show as
/// n, so that number 0 too is seen to have been raised. Lack of memory is E_OUTOFMEMORY, anything else E_FAIL.
HRESULT AnswerToException() noexcept;

/// Returns the COM error code that stands for an error number.
HRESULT AnswerToNumber(std::int32_t number) noexcept;

/// Runs the body of a COM method: nothing that it throws leaves the method.
template <typename Body>
HRESULT AtBoundary(Body&& body) noexcept {
  try {
    body();
    return S_OK;
  } catch (...) {
    return AnswerToException();
  }
}

/// Runs the body of a COM method that answers a text.
/// @param[out] answer a new string, the caller's to free; null on failure.
template <typename Body>
HRESULT AnswerText(BSTR* answer, Body&& body) noexcept {
  if (answer == nullptr) return E_POINTER;
  *answer = nullptr;
  return AtBoundary([&] { *answer = platform::Bstr(body()).release(); });
}

/// Runs the body of a COM method that answers a text and never fails: where the body or the answer finds no memory, the
/// answer is null, which is the empty text.
template <typename Body>
HRESULT AnswerTextAlways(BSTR* answer, Body&& body) noexcept {
  if (answer == nullptr) return E_POINTER;
  *answer = nullptr;
  try {
    *answer = platform::Bstr(body()).release();
  } catch (const std::bad_alloc&) {
    // The empty text stays.
  }
  return S_OK;
}

/// Runs the body of a COM method that answers a truth value.
template <typename Body>
HRESULT AnswerFlag(VARIANT_BOOL* answer, Body&& body) noexcept {
  if (answer == nullptr) return E_POINTER;
  *answer = VARIANT_FALSE;
  return AtBoundary([&] { *answer = body() ? VARIANT_TRUE : VARIANT_FALSE; });
}

}  // namespace nerio::component
