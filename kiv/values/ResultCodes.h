// Result codes, one line each saying when it occurs. Negative codes are failures.
#pragma once

#include <cstdint>

using HRESULT = int32_t;

constexpr HRESULT MakeResult(uint32_t bits) { return static_cast<HRESULT>(bits); }
constexpr bool Failed(HRESULT hr) { return hr < 0; }
constexpr bool Succeeded(HRESULT hr) { return hr >= 0; }

constexpr HRESULT S_OK = 0;                                // done
constexpr HRESULT S_FALSE = 1;                             // done, with nothing to do
constexpr HRESULT E_NOTIMPL = MakeResult(0x80004001);      // a reserved slot was called
constexpr HRESULT E_NOINTERFACE = MakeResult(0x80004002);  // the object has no such identity
constexpr HRESULT E_POINTER = MakeResult(0x80004003);      // an out pointer is null
constexpr HRESULT E_ABORT = MakeResult(0x80004004);        // stopped before it was done
constexpr HRESULT E_FAIL = MakeResult(0x80004005);         // any other failure
constexpr HRESULT E_OUTOFMEMORY = MakeResult(0x8007000E);  // memory runs out
constexpr HRESULT E_INSUFFICIENT_BUFFER = MakeResult(0x8007007A);  // a text does not fit
constexpr HRESULT E_INVALIDARG = MakeResult(0x80070057);    // an argument is out of its range
constexpr HRESULT E_NOTFOUND = MakeResult(0x80070490);      // a key or file does not exist
constexpr HRESULT E_TYPEMISMATCH = MakeResult(0x80020005);  // a stored value has another type
constexpr HRESULT E_NOTREADY = MakeResult(0x80060001);      // an object lacks what it works on
constexpr HRESULT E_UNSUPPORTED = MakeResult(0x80060003);   // media or format cannot be handled
constexpr HRESULT CLASS_E_NOAGGREGATION = MakeResult(0x80040110);      // outer object refused
constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = MakeResult(0x80040111);  // class id not known
