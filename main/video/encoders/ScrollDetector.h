// Whether the content of a picture has moved up or down.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace vantora {

// Finds short runs of pixel rows again in an earlier picture. Reads about a fifth of the area in both pictures: 0.3 ms
// for 1920 x 1080. One thread at a time.
class ScrollDetector {
 public:
  // `height` rows of `width` bytes, `stride` bytes apart.
  struct Plane {
    const uint8_t* luma;
    int stride;
    int width;
    int height;
  };

  // By how many rows most of what differs between two areas of the same size has moved up, negative: down. Empty if it
  // is mostly new, or was moved sideways. Areas below kSmallest in width or height have no result.
  std::optional<int> find(const Plane& before, const Plane& after);

  static constexpr int kSmallest = 64;

 private:
  // The runs of a strip of the earlier picture: hash and row; row kTwice for a run that occurs twice.
  struct Run {
    uint64_t hash;
    int row;
  };
  std::vector<Run> runs_;
  std::array<std::vector<uint64_t>, 2> hashes_;
  std::vector<int> votes_;
};

}  // namespace vantora
