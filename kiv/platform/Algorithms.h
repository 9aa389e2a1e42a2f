// Computer-vision algorithms: a factory makes them from modules that are loaded at run time.
//
// Units:    pixels are straight rows of BGRA, 4 bytes each; a frame is addressed by its index
//           between two key frames.
// Owns:     the factory is given back with DestoryAlgorithmFactory, an algorithm with its slot 0.
// Threads:  one caller at a time for each algorithm; factories any.
// Errors:   nothing is thrown; what cannot be made is null.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

#include "kiv/values/Export.h"
#include "kiv/values/ResultCodes.h"

// A value in a parameter dictionary: the address of a record that its owner keeps in place.
class XTuple {
 public:
  explicit XTuple(const void* pointer) : pointer_(pointer) {}

  const void* Pointer() const { return pointer_; }

 private:
  const void* pointer_;
};

class KIV_EXPORT XDictionary {
 public:
  // 0, or 12 when memory runs out.
  int SetKeyValue(int key, XTuple value);
  // Null when nothing stands under the key.
  const void* Find(int key) const;

 private:
  std::map<int, XTuple> values_;
};

enum LUMOCV_ALGORITHM_NAME : int32_t { kFrameInterpolationAlgorithm = 2 };

// Under this key a frame interpolation finds the address of its FrameInterpolationParams.
constexpr int kFrameInterpolationParamsKey = 2;

// The module's modes are its own; 0 is the default.
struct FrameInterpolationParams {
  uint32_t interpolationMode = 0;
  // Frames generated between two key frames. May change at any time; a read uses the value of that
  // moment.
  int32_t inBetweenCount = 0;
  int32_t fixed[2] = {2, 1};
};
static_assert(sizeof(FrameInterpolationParams) == 16);

// Frame interpolation: holds two key frames and answers the frames between them. With a count of n,
// index 0 is the older key frame, 1 to n are generated and n + 1 is the newer key frame.
//
// A pair is finished when index n or n + 1 was read. It goes on answering until the next push makes
// its newer key frame the older one. A key frame of another size than those held replaces them.
struct KIV_EXPORT CVAlgorithm {
  virtual void Destroy(int32_t release) = 0;  // slot 0, called with 1
  virtual XDictionary* Parameters() = 0;
  // Takes the parameters over.
  virtual bool Commit() = 0;
  // True while a key frame is lacking: fewer than two are held, or the pair is finished.
  virtual bool WantsInput() = 0;
  virtual int32_t Reserved4() { return E_NOTIMPL; }
  // The pixels are copied or used up during the call. The last two are 0.
  virtual int32_t Push(const void* pixels, int32_t width, int32_t height, int32_t bytesPerPixel,
                       int32_t reserved1, int32_t reserved2) = 0;  // slot 5
  // 0 when `pixels` was written. A size that is not the key frames', an index outside 0 to n + 1 and
  // a missing pair are refused with another result and leave it alone.
  virtual int32_t Read(void* pixels, int32_t width, int32_t height, int32_t bytesPerPixel,
                       int32_t index, int32_t reserved1, int32_t reserved2) = 0;
  // Called once with 1, after the first commit.
  virtual int32_t Start(int32_t value) = 0;

 protected:
  ~CVAlgorithm() = default;
};

struct KIV_EXPORT CVAlgorithmCreater {
  // `moduleName` is the module's name in the factory's table, whatever its file is called.
  virtual CVAlgorithm* CreateCVAlgorithm(LUMOCV_ALGORITHM_NAME name, const wchar_t* moduleName) = 0;

 protected:
  ~CVAlgorithmCreater() = default;
};

KIV_PLATFORM_API CVAlgorithmCreater* CreateAlgorithmFactory();
KIV_PLATFORM_API void DestoryAlgorithmFactory(CVAlgorithmCreater* factory);

// The name of the interpolation module in the factory's table.
constexpr wchar_t kTweenModuleName[] = L"TweenEngine.dll";

// What a module exports, under this name with C linkage: makes the algorithm of a name, or null.
using CVAlgorithmEntry = CVAlgorithm* (*)(int32_t name);
constexpr char kCVAlgorithmEntryName[] = "KivCreateCVAlgorithm";
