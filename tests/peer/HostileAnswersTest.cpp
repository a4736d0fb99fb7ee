// What a viewer may put into answers and candidates.
#include <QRegularExpression>
#include <limits>

#include "tests/peer/LibPeerFixture.h"

using namespace Qt::Literals::StringLiterals;

namespace vantora {
namespace {

using testloop::waitFor;
using HostileAnswersTest = LibPeerConnectionTest;

TEST_F(HostileAnswersTest, survivesDamagedAnswers) {
  std::mt19937 random(11);
  QString offer = makeOffered();
  const QString answer = answerOf(offer);
  for (int i = 0; i < 100; ++i) {
    const QString text = damaged(answer, random);
    apply(text);
    // Some damage leaves a valid answer, some makes the connection unusable: then the next answer needs a new one.
    if (peer_->signalingState() != SignalingState::haveLocalOffer || i % 10 == 0) makeOffered();
  }
}

TEST_F(HostileAnswersTest, survivesAnswersThatTheLibraryWouldEndTheProcessFor) {
  const QString answer = answerOf(makeOffered());
  const auto video = QRegularExpression(u"m=video [^ ]+ [^ ]+ (\\d+)"_s).match(answer);
  ASSERT_TRUE(video.hasMatch());
  const QString payload = video.captured(1);
  const auto with = [&](const QString& line) {
    // As the first attribute of the section.
    QString text = answer;
    return text.insert(text.indexOf(u"a="_s, video.capturedStart()), line + u"\r\n"_s);
  };
  for (const QString& name : {u"min"_s, u"start"_s, u"max"_s}) {
    for (const QString& value : {u"-1"_s, u"0"_s, u"3000000"_s, u"536870912"_s, u"2147483647"_s, u"2147483648"_s,
                                 u"4294967296"_s, u"99999999999999999999"_s, u"1e9"_s, u" 3000000"_s, u"+3000000"_s}) {
      makeOffered();
      EXPECT_EQ(apply(with(u"a=fmtp:%1 x-google-%2-bitrate=%3"_s.arg(payload, name, value))), std::nullopt)
          << name.toStdString() << '=' << value.toStdString();
    }
  }
  for (const QString& value : {u"-1"_s, u"0"_s, u"64"_s, u"2147483647"_s}) {
    makeOffered();
    EXPECT_EQ(apply(with(u"a=fmtp:%1 x-google-max-quantization=%2"_s.arg(payload, value))), std::nullopt);
  }
  for (const QString& limit : {u"AS:-1"_s, u"AS:0"_s, u"AS:1"_s, u"AS:2147483647"_s, u"AS:9999999999"_s, u"TIAS:-5"_s,
                               u"TIAS:1"_s, u"TIAS:2147483648"_s}) {
    makeOffered();
    (void)apply(with(u"b="_s + limit));
  }
  for (const QString& size : {u"-1"_s, u"-2147483648"_s, u"-9999999999"_s}) {
    makeOffered();
    QString text = answer;
    text.replace(QRegularExpression(u"a=max-message-size:\\d+"_s), u"a=max-message-size:"_s + size);
    ASSERT_NE(text, answer);
    EXPECT_NE(apply(text), std::nullopt) << size.toStdString();
  }
  for (const QString& codec : {u"red"_s, u"ulpfec"_s, u"flexfec-03"_s, u"rtx"_s}) {
    makeOffered();
    QStringList lines = answer.split(u"\r\n"_s);
    bool first = true;
    for (QString& line : lines) {
      if (line.startsWith(u"m=video"_s) && std::exchange(first, false)) {
        line = u"m=video 9 UDP/TLS/RTP/SAVPF 120\r\na=rtpmap:120 %1/90000"_s.arg(codec);
        if (codec == u"rtx"_s) line += u"\r\na=fmtp:120 apt=96"_s;
      }
    }
    lines.removeIf([](const QString& line) {
      return (line.startsWith(u"a=rtpmap:"_s) && !line.startsWith(u"a=rtpmap:120"_s)) ||
             line.startsWith(u"a=fmtp:"_s) || line.startsWith(u"a=rtcp-fb:"_s);
    });
    EXPECT_NE(apply(lines.join(u"\r\n"_s)), std::nullopt) << codec.toStdString();
  }
  EXPECT_EQ(apply((makeOffered(), answerOf(reoffer()))), std::nullopt);
}

// The same happens when a page is reloaded while its answer is on the way.
TEST_F(HostileAnswersTest, outlivesAViewerThatFailsTheHandshake) {
  QString answer = answerOf(makeOffered());
  const auto fingerprint = QRegularExpression(u"a=fingerprint:sha-256 [0-9A-F]{2}:[0-9A-F]{2}"_s);
  answer.replace(fingerprint, u"a=fingerprint:sha-256 00:00"_s);
  ASSERT_EQ(apply(answer), std::nullopt);
  ASSERT_TRUE(waitFor([&] {
    passCandidates();
    return failedTransports_ > 0;
  }));
  sender_.reset();
  channel_.reset();
  peer_.reset();
  EXPECT_EQ(apply(answerOf(makeOffered())), std::nullopt);
  EXPECT_TRUE(waitFor([&] {
    passCandidates();
    return viewer_->isOpen(u"control"_s);
  }));
}

TEST_F(HostileAnswersTest, takesABitrateThatAViewerMayAskFor) {
  const QString answer = answerOf(makeOffered());
  const auto video = QRegularExpression(u"m=video [^ ]+ [^ ]+ (\\d+)"_s).match(answer);
  QString text = answer;
  text.insert(text.indexOf(u"a="_s, video.capturedStart()),
              u"a=fmtp:%1 x-google-min-bitrate=1;x-google-start-bitrate=2000000;x-google-max-bitrate=2000000\r\n"_s.arg(
                  video.captured(1)));
  EXPECT_EQ(apply(text), std::nullopt);
}

// Replaces each number of an answer by unexpected values, one at a time. All of them take minutes: a random part, or
// all if VANTORA_EVERY_NUMBER is set.
TEST_F(HostileAnswersTest, survivesUnexpectedNumbers) {
  const bool every = qEnvironmentVariableIsSet("VANTORA_EVERY_NUMBER");
  std::mt19937 random(3);
  const QString answer = answerOf(makeOffered());
  const QRegularExpression number(u"\\d+"_s);
  int applied = 0;
  for (auto found = number.globalMatch(answer); found.hasNext();) {
    const auto place = found.next();
    for (const QString& value : {u"-1"_s, u"0"_s, u"1"_s, u"65536"_s, u"2147483647"_s, u"2147483648"_s, u"4294967295"_s,
                                 u"99999999999999999999"_s, u""_s}) {
      if (!every && random() % 40 != 0) continue;
      QString text = answer;
      text.replace(place.capturedStart(), place.capturedLength(), value);
      (void)apply(text);
      ++applied;
      if (peer_->signalingState() != SignalingState::haveLocalOffer || broken_ > 0) makeOffered();
      broken_ = 0;
    }
  }
  EXPECT_GT(applied, 50);
}

// The same with lines: each one removed, doubled, without its value, beside a line of another section, and beside or
// replaced by lines that do not belong there.
TEST_F(HostileAnswersTest, survivesUnexpectedLines) {
  const bool every = qEnvironmentVariableIsSet("VANTORA_EVERY_NUMBER");
  std::mt19937 random(4);
  const QStringList strange{u"a=sendonly"_s,
                            u"a=sendrecv"_s,
                            u"a=inactive"_s,
                            u"a=recvonly"_s,
                            u"a=setup:passive"_s,
                            u"a=setup:actpass"_s,
                            u"a=setup:holdconn"_s,
                            u"a=ice-lite"_s,
                            u"a=ice-ufrag:x"_s,
                            u"a=ice-ufrag:"_s + QString(300, u'u'),
                            u"a=ice-pwd:short"_s,
                            u"a=ice-options:renomination"_s,
                            u"a=ice-options:trickle ice2"_s,
                            u"a=fingerprint:sha-1 00:11"_s,
                            u"a=fingerprint:md5 00"_s,
                            u"a=fingerprint:sha-256 zz"_s,
                            u"a=fingerprint:nonsense 00:11"_s,
                            u"a=extmap:0 urn:x"_s,
                            u"a=extmap:15 urn:ietf:params:rtp-hdrext:sdes:mid"_s,
                            u"a=extmap:14 urn:ietf:params:rtp-hdrext:toffset"_s,
                            u"a=extmap:256 urn:ietf:params:rtp-hdrext:toffset"_s,
                            u"a=extmap:1 urn:ietf:params:rtp-hdrext:encrypt urn:ietf:params:rtp-hdrext:toffset"_s,
                            u"a=extmap-allow-mixed"_s,
                            u"a=ssrc:0 cname:x"_s,
                            u"a=ssrc:4294967295 msid:a b"_s,
                            u"a=ssrc-group:FID 1 2"_s,
                            u"a=ssrc-group:SIM 1 2 3"_s,
                            u"a=rid:a recv"_s,
                            u"a=rid:a send pt=96,97"_s,
                            u"a=rid:~a recv"_s,
                            u"a=simulcast:recv a;b"_s,
                            u"a=simulcast:send a;~b recv c"_s,
                            u"a=x-google-flag:conference"_s,
                            u"a=rtcp-mux"_s,
                            u"a=rtcp-rsize"_s,
                            u"a=rtcp-mux-only"_s,
                            u"a=remote-net-estimate"_s,
                            u"a=rtcp-fb:* goog-remb"_s,
                            u"a=rtcp-fb:96 nack pli x y z"_s,
                            u"a=rtpmap:96 H264/90000"_s,
                            u"a=rtpmap:96 VP8/0"_s,
                            u"a=rtpmap:96 VP9/-90000"_s,
                            u"a=rtpmap:96 rtx/90000"_s,
                            u"a=rtpmap:127 opus/48000/2"_s,
                            u"a=fmtp:96 apt=96"_s,
                            u"a=fmtp:96 profile-level-id=ffffff"_s,
                            u"a=fmtp:96 packetization-mode=7"_s,
                            u"a=fmtp:96 profile-id=-1"_s,
                            u"a=fmtp:96 max-fs=-1;max-fr=-1"_s,
                            u"a=fmtp:96 profile=9;level-idx=99;tier=5"_s,
                            u"a=fmtp:96 sprop-parameter-sets=Z0IAKeKQFAe2AtwEBAaQeJEV,aM48gA=="_s,
                            u"a=group:BUNDLE"_s,
                            u"a=group:BUNDLE 0 0 0"_s,
                            u"a=group:BUNDLE 9"_s,
                            u"a=group:LS 0 1"_s,
                            u"a=msid:- x"_s,
                            u"a=msid-semantic: WMS *"_s,
                            u"a=mid:0"_s,
                            u"a=mid:1"_s,
                            u"a=mid:"_s,
                            u"a=mid:"_s + QString(5000, u'm'),
                            u"a=sctp-port:-1"_s,
                            u"a=sctp-port:0"_s,
                            u"a=sctp-port:65536"_s,
                            u"a=sctpmap:5000 webrtc-datachannel 99999999"_s,
                            u"a=max-message-size:0"_s,
                            u"a=candidate:1 1 udp 1 0.0.0.0 0 typ host"_s,
                            u"a=end-of-candidates"_s,
                            u"a=crypto:1 AES_CM_128_HMAC_SHA1_80 inline:x"_s,
                            u"a=bundle-only"_s,
                            u"a=connection:new"_s,
                            u"a=tls-id:x"_s,
                            u"b=AS:-1"_s,
                            u"b=TIAS:0"_s,
                            u"b=CT:9"_s,
                            u"c=IN IP6 ::1"_s,
                            u"c=IN IP4 999.1.1.1"_s,
                            u"m=video 0 UDP/TLS/RTP/SAVPF 96"_s,
                            u"m=video 9 UDP/TLS/RTP/SAVPF"_s,
                            u"m=video 9 RTP/AVP 96"_s,
                            u"m=audio 9 UDP/TLS/RTP/SAVPF 111"_s,
                            u"m=application 9 UDP/DTLS/SCTP webrtc-datachannel"_s,
                            u"m=application 9 DTLS/SCTP 5000"_s,
                            u"m=message 9 TCP x"_s,
                            u"t=0 0"_s,
                            u"s=-"_s,
                            u"v=0"_s,
                            u"o=- 1 1 IN IP4 0.0.0.0"_s,
                            u"a="_s,
                            u"="_s,
                            u""_s,
                            u"a=\tx"_s};
  QString answer = answerOf(makeOffered());
  const QStringList lines = answer.split(u"\r\n"_s);
  int applied = 0;
  const auto tryOut = [&](qsizetype line, const QStringList& instead) {
    if (!every && random() % 150 != 0) return;
    QStringList changed = lines.mid(0, line) + instead + lines.mid(line + 1);
    if (every) qInfo("%lld: %s", static_cast<long long>(line), qPrintable(instead.join(u" | "_s)));
    (void)apply(changed.join(u"\r\n"_s));
    ++applied;
    if (peer_->signalingState() != SignalingState::stable) return;
    // If the answer was accepted, apply the correct one to a new offer.
    (void)reoffer();
    (void)apply(answer);
    makeOffered();
  };
  for (qsizetype i = 0; i < lines.size(); ++i) {
    tryOut(i, {});
    tryOut(i, {lines[i], lines[i]});
    tryOut(i, {lines[i].section(u':', 0, 0)});
    tryOut(i, {lines[i].section(u' ', 0, 0)});
    tryOut(i, {lines[static_cast<qsizetype>(random() % static_cast<unsigned>(lines.size()))], lines[i]});
    for (const QString& text : strange) tryOut(i, {lines[i], text});
    for (const QString& text : strange) tryOut(i, {text});
  }
  EXPECT_GT(applied, 50);
}

TEST_F(HostileAnswersTest, takesSoManyCandidatesOnly) {
  const QString offer = makeOffered();
  QString answer = answerOf(offer);
  ASSERT_EQ(apply(answer), std::nullopt);
  const auto candidate = [](int i) {
    return IceCandidate{u"candidate:%1 1 udp 1 10.77.%2.%3 40000 typ host"_s.arg(i).arg(i / 250).arg(i % 250), u"0"_s,
                        0};
  };
  int taken = 0;
  for (int i = 0; i < 400; ++i) taken += add(candidate(i)) ? 0 : 1;
  EXPECT_EQ(taken, 256);
  // An answer that is refused starts no new set of candidates.
  reoffer();
  QString other = answer;
  other.replace(QRegularExpression(u"a=ice-ufrag:\\S+"_s), u"a=ice-ufrag:another"_s);
  ASSERT_NE(other, answer);
  other.replace(u"a=setup:active"_s, u"a=setup:actpass"_s);
  EXPECT_NE(apply(other), std::nullopt);
  EXPECT_EQ(add(candidate(400)), u"too many candidates"_s);
}

TEST_F(HostileAnswersTest, refusesAnAnswerWithTooManyCandidates) {
  const QString answer = answerOf(makeOffered());
  QString many;
  for (int i = 0; i < 300; ++i) {
    many += u"a=candidate:%1 1 udp 1 10.77.%2.%3 40000 typ host\r\n"_s.arg(i).arg(i / 250).arg(i % 250);
  }
  QString text = answer;
  text.insert(text.indexOf(u"a="_s, text.indexOf(u"m="_s)), many);
  EXPECT_NE(apply(text), std::nullopt);
  EXPECT_EQ(apply(answer), std::nullopt) << "the connection is as it was";
}

TEST_F(HostileAnswersTest, refusesOddCandidates) {
  const QString good = u"candidate:1 1 udp 2130706431 10.77.0.1 40000 typ host"_s;
  EXPECT_EQ(apply((makeOffered(), answerOf(reoffer()))), std::nullopt);
  for (const IceCandidate& candidate :
       {IceCandidate{u""_s, std::nullopt, 0}, IceCandidate{u"junk"_s, u"0"_s, 0}, IceCandidate{good, std::nullopt, -1},
        IceCandidate{good, std::nullopt, std::numeric_limits<int>::min()},
        IceCandidate{good, std::nullopt, std::numeric_limits<int>::max()}, IceCandidate{good, u"no such mid"_s, 0},
        IceCandidate{QString(1'000'000, u'x'), u"0"_s, 0}, IceCandidate{good + QString(1'000'000, u' '), u"0"_s, 0},
        IceCandidate{good, QString(1'000'000, u'm'), 0}, IceCandidate{QString(QChar(0)), u"0"_s, 0},
        IceCandidate{u"candidate:1 1 udp 99999999999999999999 10.77.0.1 70000 typ host"_s, u"0"_s, 0},
        IceCandidate{u"candidate:1 -1 udp 1 10.77.0.1 -5 typ host"_s, u"0"_s, 0},
        IceCandidate{u"candidate:1 1 udp 1 10.77.0.1 9 typ nonsense"_s, u"0"_s, 0}}) {
    EXPECT_NE(add(candidate), std::nullopt)
        << candidate.candidate.left(60).toStdString() << ' ' << candidate.sdpMLineIndex;
  }
  EXPECT_EQ(add({good, u"0"_s, 0}), std::nullopt);
  EXPECT_NE(add({good, u"0"_s, -1}), std::nullopt);
}

TEST_F(HostileAnswersTest, survivesDamagedCandidates) {
  std::mt19937 random(5);
  apply(answerOf(makeOffered()));
  const QString good =
      u"candidate:842163049 1 udp 1677729535 10.77.0.1 40000 typ srflx raddr 0.0.0.0 rport 0 generation 0 "
      "ufrag abcd network-cost 999"_s;
  int answered = 0;
  for (int i = 0; i < 2000; ++i) {
    peer_->addCandidate({damaged(good, random), random() % 2 ? std::optional(u"0"_s) : std::nullopt,
                         static_cast<int>(random() % 5) - 1},
                        [&](const std::optional<QString>&) { ++answered; });
  }
  EXPECT_TRUE(waitFor([&] { return answered == 2000; }));
}

}  // namespace
}  // namespace vantora
