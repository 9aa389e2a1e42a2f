// What every filter shares: inputs, rectangles, published parameters, and the result of a run.
//
// Units:    rectangles in fractions of a frame; output size in pixels.
// Owns:     references to its inputs until they are replaced; the result of the last run.
// Threads:  one caller at a time; the published bags lock themselves.
// Errors:   E_NOTREADY for a run without a picture or a read without a run, E_INVALIDARG for a size;
//           a failed run leaves the last result.
#pragma once

#include <vector>

#include "engine/base/CountedObject.h"
#include "engine/picture/Frame.h"
#include "engine/picture/PictureScale.h"
#include "kiv/platform/Filters.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/Saturate.h"

namespace kiv {

// The parts that the run's rectangles leave. Both pictures show the same scene, so the rectangle that
// selects what is read of the first selects the same part of the second.
struct FilterInputs {
  SourcePicture first;
  SourcePicture second;  // without pixels when there is none
  // Where the result's rectangle lies, also beyond the output: pixels, from the first one written.
  KivRectF place;
};

class FilterBase : public CountedObject<IKivCGFilter, IKivProperties> {
 public:
  // Publishes the parameters; called once, before the filter is handed out.
  HRESULT Publish();

  HRESULT SetSecondInput(IKivFrame* frame) override;
  HRESULT SetFirstInput(IKivFrame* frame) override;
  HRESULT SetInputCount(int32_t) override { return S_OK; }
  HRESULT SetRunMode(int32_t) override { return S_OK; }
  // Null stands for the whole frame. What lies outside `second` becomes transparent.
  HRESULT SetRects(const KivRectF* second, const KivRectF* first) override;
  HRESULT Run(const KivSize* outputSize) override;
  // Gives the frame another size where it has to; its time and index stay.
  HRESULT ReadOutput(IKivFrame* frame) override;
  HRESULT CommitParameters() override;

  HRESULT SetValue(const wchar_t* key, const CKivValue* value) override;
  HRESULT SetInt(const wchar_t* key, int32_t value) override;
  HRESULT GetInt(const wchar_t* key, int32_t* value) override;
  HRESULT SetString(const wchar_t* key, const wchar_t* text) override;
  HRESULT GetString(const wchar_t* key, wchar_t* buffer, int32_t capacity) override;
  HRESULT SetDouble(const wchar_t* key, double value) override;
  HRESULT GetDouble(const wchar_t* key, double* value) override;
  HRESULT SetRect(const wchar_t* key, const KivRectF* value) override;
  HRESULT GetRect(const wchar_t* key, KivRectF* value) override;
  HRESULT SetRange(const wchar_t* key, const KivRange* value) override;
  HRESULT GetRange(const wchar_t* key, KivRange* value) override;
  HRESULT SetSize(const wchar_t* key, const KivSize* value) override;
  HRESULT GetSize(const wchar_t* key, KivSize* value) override;
  HRESULT SetObject(const wchar_t* key, IUnknown* object) override;
  HRESULT GetObject(const wchar_t* key, IUnknown** object) override;
  HRESULT SetRational(const wchar_t* key, const KivRational* value) override;
  HRESULT GetRational(const wchar_t* key, KivRational* value) override;

 protected:
  enum class ParameterKind { kWhole, kReal };
  struct Parameter {
    const wchar_t* name;
    double value;  // the initial one, then the one taken over last
    ParameterKind kind = ParameterKind::kWhole;
  };

  // `parameters` are published in this order and found again by their index.
  explicit FilterBase(std::vector<Parameter> parameters) : parameters_(std::move(parameters)) {}

  int32_t ValueOf(size_t parameter) const { return SaturateToInt32(RealOf(parameter)); }
  double RealOf(size_t parameter) const { return parameters_[parameter].value; }

  // Whether there is enough to make a picture of.
  virtual bool HasInputs(const FilterInputs& inputs) const {
    return inputs.first.pixels != nullptr;
  }

  // Writes the whole of `output`, which is the part that the result is placed in.
  virtual HRESULT Process(const FilterInputs& inputs, const TargetPicture& output) = 0;

 private:
  HRESULT PublishOne(size_t index);
  HRESULT ProcessParts(FilterInputs inputs, const TargetPicture& output);

  std::vector<Parameter> parameters_;
  std::vector<KivPropDecorator> parameterBags_;
  KivPropDecorator properties_;
  KivComPtr<IKivFrame> firstInput_;
  KivComPtr<IKivFrame> secondInput_;
  KivRectF firstRect_{0, 0, 1, 1};
  KivRectF targetRect_{0, 0, 1, 1};
  PictureMemory result_;
};

}  // namespace kiv
