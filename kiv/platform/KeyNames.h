// The names of property keys. Their texts are the engine's; see engine/common/KeyNames.cpp.
#pragma once

#include "kiv/values/Export.h"

// X(group, name, text)
#define KIV_KEYS(X)                                                                       \
  X(AlphaVideo, kAlphaVideo_PresetVideo, "AlphaVideo.PresetVideo")                        \
  X(AlphaVideo, kAlphaVideo_FullHD, "AlphaVideo.FullHD")                                  \
  X(AlphaVideo, kAlphaVideo_FullHDDataFilepath, "AlphaVideo.FullHDDataFilepath")          \
  X(AlphaVideo, kAlphaVideo_ImageFilepath, "AlphaVideo.ImageFilepath")                    \
  X(AlphaVideo, kAlphaVideo_CanChangeColor, "AlphaVideo.CanChangeColor")                  \
  X(AlphaVideo, kAlphaVideo_FillType, "AlphaVideo.FillType")                              \
  X(AlphaVideo, kAlphaVideo_SingleColor, "AlphaVideo.SingleColor")                        \
  X(AlphaVideo, kAlphaVideo_GradientColor1, "AlphaVideo.GradientColor1")                  \
  X(AlphaVideo, kAlphaVideo_GradientColor2, "AlphaVideo.GradientColor2")                  \
  X(AlphaVideo, kAlphaVideo_GradientAngle, "AlphaVideo.GradientAngle")                    \
  X(AlphaVideo, kAlphaVideo_VideoDuration, "AlphaVideo.VideoDuration")                    \
  X(AlphaVideo, kAlphaVideo_VideoPauseTime, "AlphaVideo.VideoPauseTime")                  \
  X(AlphaVideo, kAlphaVideo_LoopCount, "AlphaVideo.LoopCount")                            \
  X(Base, kStrFileFullPath, "Base.FileFullPath")                                          \
  X(Codec::GPU, kGPUFirst, "Codec.GPU.First")                                             \
  X(Crop, kEnabled, "Crop.Enabled")                                                       \
  X(Crop, kRegion, "Crop.Region")                                                         \
  X(Filter::Property, kCount, "Filter.Property.Count")                                    \
  X(Filter::Property, kFriendName, "Filter.Property.FriendName")                          \
  X(Filter::Property, kValue_Current, "Filter.Property.Value.Current")                    \
  X(Filter, kFilterGUID_Resize, "{2C6E0B5D-7F43-4A91-8D0A-3B5E94F1C6D2}")                 \
  X(Filter, kFilterGUID_AlphaChannel, "{A1F7D3C8-52B6-4E0F-9C41-6D82E7B40F95}")           \
  X(Filter, kFilterGUID_GreenChannel, "{7B94E2A0-1D58-4C36-B3F7-E05A6C91D284}")           \
  X(Filter, kFilterGUID_preMultAlpha, "{E3085A6F-C9D1-4B72-A64E-18F7B2D05C3A}")           \
  X(ProxySource, kEnabled, "ProxySource.Enabled")                                         \
  X(ProxySource, kProxyFilePath, "ProxySource.FilePath")                                  \
  X(Render, kRender_CacheEnable, "Render.CacheEnable")                                    \
  X(Render, kRender_Framerate, "Render.FrameRate")                                        \
  X(Render, kRender_RangeFrameNumber, "Render.RangeFrameNumber")                          \
  X(Render, kRender_Size, "Render.Size")                                                  \
  X(Render, kRender_TotalFrameCount, "Render.TotalFrameCount")                            \
  X(Source, kSource_Framerate, "Source.FrameRate")                                        \
  X(Source, kSource_Framerate_Custom, "Source.FrameRate.Custom")                          \
  X(Source, kSource_RangeFrameNumber, "Source.RangeFrameNumber")                          \
  X(Source, kSource_Size, "Source.Size")                                                  \
  X(Source, kSource_TotalFrameCount, "Source.TotalFrameCount")                            \
  X(SourceRender, kSourceRender_CurrentVideoStreamIndex, "SourceRender.VideoStreamIndex") \
  X(Speed, kEnabled, "Speed.Enabled")                                                     \
  X(Speed, kInterpolationMode, "Speed.InterpolationMode")                                 \
  X(Speed, kInterpolation_Enabled, "Speed.Interpolation.Enabled")                         \
  X(Speed, kReverse, "Speed.Reverse")                                                     \
  X(Speed, kReverse_FrameCacheCount, "Speed.Reverse.FrameCacheCount")                     \
  X(Speed, kReverse_Range, "Speed.Reverse.Range")                                         \
  X(Speed, kScale, "Speed.Scale")                                                         \
  X(Stabilization, kAnalyzedDataSize, "Stabilization.AnalyzedDataSize")                   \
  X(Stabilization, kAnalyzedDataStr, "Stabilization.AnalyzedData")                        \
  X(Stabilization, kEnabled, "Stabilization.Enabled")                                     \
  X(Stabilization, kLevel, "Stabilization.Level")

#define KIV_DECLARE_KEY(group, name, text)           \
  namespace KivKey::group {                          \
  extern KIV_PLATFORM_API const wchar_t* const name; \
  }
KIV_KEYS(KIV_DECLARE_KEY)
#undef KIV_DECLARE_KEY

namespace KivKey::Filter::Property {
// Parameter i of a filter is the object stored under kParamsArray[i].
constexpr int kParamsArrayLength = 32;
extern KIV_PLATFORM_API const wchar_t* const kParamsArray[kParamsArrayLength];
}  // namespace KivKey::Filter::Property
