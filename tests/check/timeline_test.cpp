// What the timeline says of short logs: the cases that random traffic does not reach.
#include <gtest/gtest.h>

#include <random>

#include "check/log/lcs.h"
#include "check/log/report.h"
#include "core/text.h"

namespace kovo::check {
namespace {

constexpr char kDefinitions[] =
    "OkCount=1\nOkXMLfield=go\nOkProtocol0=TCP\nOkIP0=10.0.0.6\nOkPort0=23\nOkData0=41\n"
    "HostCount=2\nHostXMLfield=host\nHostProtocol0=UDP\nHostIP0=projector\nHostPort0=23\n"
    "HostData0=41\n"
    "BlankCount=1\nBlankXMLfield=blank\nBlankProtocol0=TCP\nBlankIP0= 10.0.0.6\nBlankPort0=23\n"
    "BlankData0=41\n"
    "CastCount=1\nCastXMLfield=cast\nCastProtocol0=UDP\nCastIP0=255.255.255.255\nCastPort0=9\n"
    "CastData0=41\n"
    "NeverCount=1\nNeverXMLfield=never\nNeverDelay=60\nNeverProtocol0=UDP\nNeverIP0=10.0.0.6\n"
    "NeverPort0=9\nNeverData0=41\n"
    "OldCount=1\nOldXMLfield=old\nOldProtocol0=UDP\nOldIP0=10.0.0.6\nOldPort0=9\n"
    "OldData0=7B7B6E7D7D\n"
    "DVIConnectedCount=1\nDVIConnectedProtocol0=UDP\nDVIConnectedIP0=10.0.0.6\n"
    "DVIConnectedPort0=9\nDVIConnectedData0=41\n";

/// Returns the text of a timeline. A line of the event log is "SECONDS.MS text".
std::string shown_timeline(const std::string& event_lines, const std::string& main_log,
                           LogFilter filter = {}) {
  std::string event_log;
  for (const std::string_view line : split_lines(event_lines)) {
    event_log += "2026-11-25 10:00:" + std::string(line.substr(0, 6)) + " " +
                 std::string(line.substr(6)) + "\n";
  }
  EventLog events;
  MainLog main_records;
  read_event_log(event_log, events);
  read_main_log(main_log, main_records);
  const std::string_view definitions = kDefinitions;
  const Timeline timeline = make_timeline(events, main_records, &definitions);
  std::string text;
  std::string day;
  for (const TimelineBlock& block : timeline.blocks) {
    if (passes(filter, block)) text += block_text(block, 200, day);
  }
  return text + summary_text(timeline, 200, true);
}

TEST(Timeline, NamesWhatItCanKnow) {
  const std::string start = "kovotcp V1\n";
  const std::string renewed = "[renew_kovo_txt:1] renew /www/pelm/kovo.txt\n";
  const auto received = [](const std::string& text) {
    return "[handle_tcp_event:1] recv(tcp:2700) [" + std::to_string(text.size()) + "]" + text;
  };
  const auto pushed = [](const std::string& at, const std::string& name) {
    return at + " get tcp:2700 event: key=" + name + ",value=\n" + at + " push event: " + name +
           "\n";
  };
  const std::string first = "00.000 kovotcp start\n";
  std::string old;
  for (int text = 0; text < 5000; ++text) old += received("x\n");
  const struct {
    const char* what;
    std::string event_log;
    std::string main_log;
    const char* expected;
  } cases[] = {
      {"a test by trigger", first + "01.000 push event: go, test=1\n", start,
       "no event is named \"go\"; did you mean \"Ok\"?"},
      {"a blank at the end", first + pushed("01.000", "go "), start,
       "\"go \" (ends with a blank) on tcp:2700\n  -> no event has this trigger; did you mean "
       "\"go\"?"},
      {"a host name", first + pushed("01.000", "host") + "01.010 projector:23 UDP A\n01.010 :  \n",
       start, "\"projector\" is not an IPv4 address: it goes to the device itself"},
      {"a step without lines",
       first + pushed("01.000", "host") + "01.010 projector:23 UDP A\n01.010 :  \n", start,
       "the file has no lines for this step"},
      {"a leading blank", first + pushed("01.000", "blank") + "01.010  10.0.0.6:23 TCP A\n",
       start + received("blank\n") +
           "[tcpclient:1] Error: connect ip= 10.0.0.6, port=23, error=(111)Connection refused, "
           "data=A;\n",
       "NOT SENT: Connection refused"},
      {"a broadcast", first + pushed("01.000", "cast") + "01.010 255.255.255.255:9 UDP A\n", start,
       "NOT SENT: a broadcast is not permitted"},
      {"a delay of 60 s", first + pushed("01.000", "never"), start,
       "never runs: a Delay of 60 s is not below 60 s"},
      {"old values", first + pushed("01.000", "old") + "03.100 10.0.0.6:9 UDP x\n", start,
       "old values: the status service did not answer in time"},
      {"an empty placeholder", first + pushed("01.000", "old") + "01.010 10.0.0.6:9 UDP \n", start,
       "{{n}} was empty"},
      {"a display event late after boot",
       first + pushed("01.000", "DVIConnected") + "01.010 skip uptime=500,10.0.0.6:9 UDP A\n",
       start, "NOT SENT: the status service has not answered yet"},
      {"events are off", first + "02.000 get lm event go\n02.000 push event: go\n",
       start + received("__SET__:network.kovo.enable=0\n") + received("go\n") +
           "[handle_q_event:1] KOVO disable, skip go\n[handle_lm_event:1] get lm event go\n",
       "dropped: events are off: switched off by __SET__:network.kovo.enable=0"},
      {"events are off after a restart",
       first + "02.000 kovotcp start\n03.000 get lm event go\n03.000 push event: go\n",
       start + received("__SET__:network.kovo.enable=0\n") + start + received("go\n") +
           "[handle_q_event:1] KOVO disable, skip go\n[handle_lm_event:1] get lm event go\n",
       "dropped: events are off\n"},
      {"a name without newline before a restart",
       first + pushed("01.000", "go") + "01.010 10.0.0.6:23 TCP A\n05.000 kovotcp start\n",
       start + received("go") + start + renewed, "+0 ms TCP 10.0.0.6:23  sent?  \"A\""},
      {"other steps than the file", first + pushed("01.000", "go") + "01.010 10.0.0.9:1 UDP B\n",
       start + renewed + received("go\n") + renewed,
       "executed with other steps than the given file\n  UDP 10.0.0.9:1  sent?  \"B\""},
      {"steps of one of two pushes",
       first + pushed("01.000", "go") + pushed("01.001", "blank") +
           "01.010 10.0.0.9:1 UDP B\n02.500 10.0.0.9:1 UDP C\n",
       start, "Ok, 1 step: unknown: the steps of 10:00:01.010 may be its own"},
      {"an edit after the push", first + pushed("01.000", "go") + pushed("09.000", "x"),
       start + renewed + received("go\n") + renewed + received("x\n"),
       "unknown: the definition file was edited after this push"},
      {"two sources of one name",
       first + "01.000 get lm event go\n" + pushed("01.005", "go") + "01.010 push event: go\n",
       start, "10:00:01.005 \"go\" on tcp:2700"},
      {"an event log that begins later",
       first + pushed("01.000", "go") + "01.010 10.0.0.6:23 TCP A\n",
       old + start + received("go\n") +
           "[tcpclient:1] Error: connect ip=10.0.0.6, port=23, error=(111)Connection refused, "
           "data=A;\n",
       "NOT SENT: Connection refused"},
      {"no sender", first + pushed("01.000", "go") + "01.010 10.0.0.6:23 TCP A\n",
       start + received("go\n") + "[exec_event:1] Error: no sender for 3 steps, last of Ok\n",
       "NOT SENT: no sender for 3 steps, the last one of \"Ok\""},
      {"a full queue", first + pushed("01.000", "go"),
       start + "[log_drops:1] Error: lm_queue is full, 9 texts dropped\n" + received("go\n"),
       "dropped: lm_queue is full, 9 texts dropped"},
      {"a variable without trigger", first + pushed("01.000", "go"),
       start + "[handle_udp_lm_var:1] recv(udp:2727) lm data(28)e_param_set::DEVICE_NAME::x\n" +
           "[handle_lm_event:1] get lm event name\n" +
           "[handle_udp_lm_var:1] recv(udp:2727) lm data(22)e_param_set::FOO::bars" +
           received("go\n"),
       "raised nothing in these logs: FOO\n"},
  };
  for (const auto& c : cases) {
    const std::string text = shown_timeline(c.event_log, c.main_log);
    EXPECT_NE(text.find(c.expected), std::string::npos) << c.what << ":\n" << text;
  }
}

/// Returns the length by the quadratic algorithm of textbooks.
std::size_t common_length(const Sequence& a, const Sequence& b) {
  std::vector<std::vector<std::size_t>> length(a.size() + 1,
                                               std::vector<std::size_t>(b.size() + 1));
  for (std::size_t x = 0; x < a.size(); ++x) {
    for (std::size_t y = 0; y < b.size(); ++y) {
      length[x + 1][y + 1] =
          a[x] == b[y] ? length[x][y] + 1 : std::max(length[x + 1][y], length[x][y + 1]);
    }
  }
  return length[a.size()][b.size()];
}

/// Returns how many deletions and insertions make a part of `b` from `a`.
std::size_t differences(const Sequence& a, const Sequence& b, Window part) {
  const Sequence chosen(b.begin() + static_cast<std::ptrdiff_t>(part.first),
                        b.begin() + static_cast<std::ptrdiff_t>(part.end));
  return a.size() + chosen.size() - 2 * common_length(a, chosen);
}

TEST(CommonSubsequence, IsTheLongestOfRandomSequences) {
  std::mt19937 random(1);
  const auto sequence = [&] {
    Sequence made(random() % 12);
    for (std::uint32_t& element : made) element = random() % 4;
    return made;
  };
  for (int run = 0; run < 20'000; ++run) {
    const Sequence a = sequence();
    const Sequence b = sequence();
    const Window window = most_similar(a, b);
    for (std::size_t end = 0; end <= b.size() && run % 10 == 0; ++end) {
      for (std::size_t first = 0; first <= end; ++first) {
        ASSERT_LE(differences(a, b, window), differences(a, b, {first, end, 0}));
      }
    }
    const std::vector<CommonPair> pairs = common_subsequence(a, b);
    ASSERT_EQ(pairs.size(), common_length(a, b));
    for (std::size_t at = 0; at < pairs.size(); ++at) {
      ASSERT_EQ(a.at(pairs[at].a), b.at(pairs[at].b));
      ASSERT_TRUE(at == 0 || (pairs[at - 1].a < pairs[at].a && pairs[at - 1].b < pairs[at].b));
    }
  }
}

}  // namespace
}  // namespace kovo::check
