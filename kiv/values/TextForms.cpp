#include "kiv/values/TextForms.h"

#include <cmath>
#include <concepts>
#include <type_traits>

#include "kiv/values/NumberText.h"
#include "kiv/values/Saturate.h"
#include "kiv/values/TextScan.h"

namespace {

// Each structure's form is stated once, as the labels before its fields; both directions follow it.
template <typename T, typename Structure>
concept Is = std::same_as<std::remove_const_t<T>, Structure>;

template <typename Visitor, Is<KivPoint> T>
void VisitFields(Visitor* visit, T& v) {
  (*visit)(L"x:", v.x);
  (*visit)(L", y:", v.y);
}

template <typename Visitor, Is<KivPointF> T>
void VisitFields(Visitor* visit, T& v) {
  (*visit)(L"x:", v.x);
  (*visit)(L", y:", v.y);
}

template <typename Visitor, Is<KivSize> T>
void VisitFields(Visitor* visit, T& v) {
  (*visit)(L"Width:", v.width);
  (*visit)(L", cy:", v.height);
}

template <typename Visitor, Is<KivSizeF> T>
void VisitFields(Visitor* visit, T& v) {
  (*visit)(L"Width:", v.width);
  (*visit)(L", cy:", v.height);
}

template <typename Visitor, typename T>
requires Is<T, KivRect> || Is<T, KivRectF>
void VisitFields(Visitor* visit, T& v) {
  (*visit)(L"left:", v.left);
  (*visit)(L", top:", v.top);
  (*visit)(L", width:", v.width);
  (*visit)(L", height:", v.height);
}

template <typename Visitor, Is<KivRational> T>
void VisitFields(Visitor* visit, T& v) {
  (*visit)(L"[", v.numerator);
  (*visit)(L", ", v.denominator);
}

template <typename Visitor, Is<KivColorF> T>
void VisitFields(Visitor* visit, T& v) {
  (*visit)(L"r:", v.r);
  (*visit)(L", g:", v.g);
  (*visit)(L", b:", v.b);
}

template <typename Visitor, Is<KivRange> T>
void VisitFields(Visitor* visit, T& v) {
  (*visit)(L"Start:", v.start);
  (*visit)(L", End:", v.end);
}

struct Writer {
  std::wstring* text;

  void operator()(const wchar_t* label, int64_t value) {
    *text += label;
    kiv::AppendInteger(text, value);
  }
  void operator()(const wchar_t* label, int32_t value) { (*this)(label, int64_t{value}); }
  void operator()(const wchar_t* label, double value) {
    *text += label;
    kiv::AppendFixed(text, value);
  }
};

struct Reader {
  kiv::TextScan scan;

  void operator()(const wchar_t* label, int64_t& value) {
    if (scan.Literal(label)) scan.Integer(&value);
  }
  void operator()(const wchar_t* label, int32_t& value) {
    int64_t wide = value;
    (*this)(label, wide);
    value = kiv::ClampToInt32(wide);
  }
  void operator()(const wchar_t* label, double& value) {
    if (scan.Literal(label)) scan.Real(&value);
  }
};

// What follows the fields; only a fraction has more to say, for people who read it.
template <typename T>
void WriteEnd(const T&, std::wstring*) {}

void WriteEnd(const KivRational& value, std::wstring* text) {
  // 0/0 has no sign; the one that its NaN carries is the processor's.
  const double quotient = value.ToDouble();
  *text += L"]: ";
  kiv::AppendFixed(text, std::isnan(quotient) ? std::fabs(quotient) : quotient, 7);
  *text += L' ';
}

template <typename T>
void WriteForm(const T& value, std::wstring* text) {
  text->clear();
  Writer writer{text};
  VisitFields(&writer, value);
  WriteEnd(value, text);
}

template <typename T>
void ReadForm(std::wstring_view text, T* value) {
  Reader reader{kiv::TextScan(text)};
  T fields;
  VisitFields(&reader, fields);
  *value = fields;
}

}  // namespace

#define KIV_DEFINE_TEXT_FORM(Structure)                                                  \
  void WriteText(const Structure& value, std::wstring* text) { WriteForm(value, text); } \
  void ReadText(std::wstring_view text, Structure* value) { ReadForm(text, value); }
KIV_TEXT_STRUCTURES(KIV_DEFINE_TEXT_FORM)
#undef KIV_DEFINE_TEXT_FORM
