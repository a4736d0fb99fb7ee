#include "main/video/sdp/CodecNames.h"

#include <algorithm>
#include <array>

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

struct Profile {
  QLatin1StringView name;
  QLatin1StringView levelId;
};

// The names with 42 mean level 3.1 as well: all viewers decode it, and the level does not limit the size that is sent.
constexpr std::array<Profile, 6> kProfiles{{
    {"baseline31"_L1, "42e01f"_L1},
    {"main31"_L1, "4d001f"_L1},
    {"high31"_L1, "64001f"_L1},
    {"baseline42"_L1, "42e01f"_L1},
    {"main42"_L1, "4d001f"_L1},
    {"high42"_L1, "64001f"_L1},
}};

}  // namespace

std::optional<CodecChoice> parsePreferredCodec(const QString& text) {
  const QString name = text.toLower();
  if (name == "auto"_L1) return CodecChoice{};
  if (name == "av01"_L1) return CodecChoice{u"av1"_s};
  if (name == "h264"_L1 || name == "vp8"_L1 || name == "vp9"_L1 || name == "av1"_L1) return CodecChoice{name};
  return std::nullopt;
}

CodecChoice codecChoiceOfViewer(const QString& text) { return parsePreferredCodec(text).value_or(CodecChoice{}); }

QString h264ProfileFor(const QString& text) {
  const QString name = text.toLower();
  for (const Profile& profile : kProfiles) {
    if (name == profile.name) return profile.levelId;
  }
  return text;
}

bool fitsIntoOffer(const QString& profile) {
  constexpr qsizetype kMaxLength = 64;
  return profile.size() <= kMaxLength && std::ranges::all_of(profile, [](QChar c) { return c >= u' ' && c <= u'~'; });
}

}  // namespace vantora
