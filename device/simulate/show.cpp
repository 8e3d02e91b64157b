#include "device/simulate/show.h"

#include <cstdio>

#include "frame/text.h"

namespace kovo::device {
namespace {

constexpr std::size_t kMostListed = 20;
constexpr std::chrono::seconds kUsualEffect(2);
constexpr char kStarted[] = "/var/tmp/plinth_sync_ok";  // made when the daemon supervises

// Who hears of variable changes, and where the replies of the examples go.
const Destination kLocalReceivers[] = {
    {false, "127.0.0.1", 5127}, {true, "127.0.0.1", 9000}, {false, "127.0.0.1", 9000}};

void listen_to_events(Show& show) {
  for (const EventDefinition& event : show.definitions.events) {
    for (const SubCommand& step : event.commands) {
      const auto where = destination_of(step);
      const std::string reason = where ? listen_at(show.network, *where) : "";
      if (!reason.empty()) show_note(show.screen, text_of(*where) + ": " + reason);
    }
  }
}

}  // namespace

bool start_show(Show& show, const std::string& definition_path) {
  set_param("ENABLE_KOVO_EVENT", "1");
  set_param("LIVE_PLAYLIST_CONTENT", "0");
  show.definitions.path = definition_path;
  if (!take_definitions(show.definitions)) {
    std::fprintf(stderr, "simulate: cannot read %s\n", definition_path.c_str());
    return false;
  }
  if (!give_address("eth0", "10.0.0.2/24") ||
      !start_status_service(show.service, StatusMode::kAnswerAndClose, default_status_answer())) {
    std::fputs("simulate: cannot set up the network of the device\n", stderr);
    return false;
  }
  for (const Destination& where : kLocalReceivers) listen_at(show.network, where);
  listen_to_events(show);
  show.daemon = start_daemon();
  const bool started = wait_for([&] {
    show_news(show);
    return file_exists(kStarted);
  });
  if (!started) std::fputs("simulate: the daemon does not start\n", stderr);
  show.busy_until = Clock::now() + kUsualEffect;
  return started;
}

void show_news(Show& show) {
  std::vector<Line> news;
  for (LogTail& tail : show.tails) {
    for (const LogRecord& record : new_records(tail)) {
      const Tone tone = record.text.substr(0, 5) == "Error" ? Tone::kAlarm : Tone::kLog;
      news.push_back({record.at, tone, tail.label, printable(record.text)});
      if (tail.stamped) follow_event_log(show.time_lines, show.definitions.events, record);
    }
  }
  collect_arrivals(show.network, news);
  collect_time_lines(show.time_lines, show.network, news);
  show_lines(show.screen, news);
}

void tell(Show& show, const std::string& channel, const std::string& message) {
  forget_arrivals(show.network);
  show_line(show.screen,
            {Clock::now(), Tone::kTold, channel + " <-", "\"" + printable(message) + "\""});
  show.busy_until = Clock::now() + kUsualEffect;
  const int port = to_int32(channel.substr(4));
  if (channel.substr(0, 3) == "udp") {
    send_udp(port, message);
  } else if (const int error = send_tcp(port, message); error != 0) {
    show_line(show.screen, {Clock::now(), Tone::kAlarm, channel, error_text(error)});
  }
}

void follow_file(Show& show) {
  if (!take_definitions(show.definitions)) return;
  show_note(show.screen, "The definition file has changed.");
  listen_to_events(show);
}

void list_events(Show& show) {
  const EventList& events = show.definitions.events;
  show_note(show.screen, events.empty() ? "The definition file has no event with a positive Count."
                                        : "Events, by the name that raises them:");
  std::size_t listed = 0;
  for (const EventDefinition& event : events) {
    if (listed++ == kMostListed) break;
    char head[256];
    std::snprintf(head, sizeof head, "  %-18s ", printable(event.trigger).c_str());
    show_note(show.screen, head + printable(steps_of(event)));
  }
  if (events.size() > kMostListed) {
    show_note(show.screen, "  and " + std::to_string(events.size() - kMostListed) + " more");
  }
}

}  // namespace kovo::device
