// Minutes of random seeks, skips, switches and range changes on one clip: every picture has to be
// the right one, and the memory line, written every ten seconds, has to stay level.
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>

#include "test/cache/ReverseClip.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFrames = 1500;
constexpr auto kLineEvery = std::chrono::seconds(10);

double ResidentMegabytes() {
  int64_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

class Soak {
 public:
  explicit Soak(unsigned seed) : random_(seed) {
    recipe_.size = {640, 360};
    recipe_.frames = kFrames;
    recipe_.gop = 250;
    recipe_.bFrames = 2;
    clip_.Open(recipe_, 20);
    Place(0);
  }

  // False when a picture is not the one that it should be.
  bool Step() {
    const int32_t choice = Below(100);
    if (choice < 4) Turn();
    if (choice == 4) clip_.Initialize(recipe_, kSpans[Below(std::size(kSpans))]), Turn();
    if (choice == 5) clip_.render->Cleanup(), clip_.Initialize(recipe_, 20), Turn();
    if (choice < 20) {
      Place(Below(Length()));
    } else {
      Move(choice < 80 ? 1 : Below(21) - 10);
    }
    ++pictures_;
    return choice % 4 == 3 || Check();  // some positions are left before they are read
  }
  int64_t Pictures() const { return pictures_; }

 private:
  static constexpr int32_t kSpans[] = {0, 3, 20, 20, 20, 60, INT32_MAX};

  int32_t Below(size_t limit) { return static_cast<int32_t>(random_() % limit); }
  size_t Length() const { return static_cast<size_t>(range_.end - range_.start + 1); }
  void Turn() {
    reverse_ = Below(3) != 0;
    const int32_t a = Below(kFrames), b = Below(kFrames);
    range_ = reverse_ ? KivRange{std::min(a, b), std::max(a, b)} : KivRange{0, kFrames - 1};
    clip_.Reverse(reverse_ ? 1 : 0, range_);
    Place(Below(Length()));
  }
  void Place(int32_t offset) {
    offset_ = offset;
    clip_.render->Seek(range_.start + offset, nullptr, 1);
  }
  void Move(int32_t count) {
    const int32_t target = offset_ + count;
    if (target < 0 || target >= static_cast<int32_t>(Length())) return Place(Below(Length()));
    clip_.render->Skip(count, nullptr);
    offset_ = target;
  }
  bool Check() {
    const int32_t wanted = reverse_ ? range_.end - offset_ : range_.start + offset_;
    const int32_t shown = clip_.Shown();
    if (shown == wanted) return true;
    std::printf("picture %d instead of %d: range %d to %d, offset %d, reverse %d\n", shown, wanted,
                range_.start, range_.end, offset_, reverse_ ? 1 : 0);
    return false;
  }

  std::minstd_rand random_;
  kivtest::ClipRecipe recipe_;
  test::ReverseClip clip_;
  bool reverse_ = false;
  KivRange range_{0, kFrames - 1};
  int32_t offset_ = 0;
  int64_t pictures_ = 0;
};

int Run(std::chrono::minutes length) {
  const unsigned seed = std::random_device()();
  std::printf("seed %u\n", seed);
  Soak soak(seed);
  const auto start = Clock::now();
  auto nextLine = start + kLineEvery;
  while (Clock::now() < start + length) {
    if (!soak.Step()) return 1;
    if (Clock::now() < nextLine) continue;
    nextLine += kLineEvery;
    const std::chrono::duration<double> passed = Clock::now() - start;
    std::printf("%5.0f s %9lld steps %7.1f MiB\n", passed.count(),
                static_cast<long long>(soak.Pictures()), ResidentMegabytes());
    std::fflush(stdout);
  }
  std::puts("every picture was right");
  return 0;
}

}  // namespace

int main(int count, char** values) {
  int minutes = 0;
  if (count == 2) std::from_chars(values[1], values[1] + std::strlen(values[1]), minutes);
  if (minutes > 0) return Run(std::chrono::minutes(minutes));
  std::fputs("usage: reverse_soak MINUTES\n", stderr);
  return 2;
}
