// The two receivers of port 2727 and the status worker append to lm_queue; this thread is the only
// one that takes from it, so that variable changes and commands are processed in one order. It
// sends notifications and replies itself: a slow client delays the messages after it, not the
// receivers. Invariant: a message is processed to its end before the next is taken.
#include "control/change_worker.h"

#include <optional>

#include "control/command_language.h"
#include "definitions/templates.h"
#include "engine/event_queue.h"
#include "frame/globals.h"
#include "frame/host.h"
#include "frame/log.h"
#include "frame/worker.h"
#include "variables/central_state.h"

namespace kovo {
namespace {

constexpr char kRoutine[] = "handle_lm_event";
constexpr int kIdleMs = 200;

}  // namespace

void* handle_lm_event(void* argument) {
  CentralState& state = *static_cast<CentralState*>(argument);
  while (true) {
    if (state.ready != 0) {
      catch_and_log(kRoutine, [&] {
        while (const std::optional<std::string> text = state.lm_queue.pop()) {
          handle_message(state, *variable_registry, *text);
        }
      });
    }
    sleep_ms(kIdleMs);
  }
}

void handle_message(CentralState& state, VariableRegistry& registry, std::string_view text) {
  const std::string copy(strip_newline(cut_text(text, kMaxMessage)));
  if (debug_target_on >= kMirrorChanges && starts_with_nocase(copy, "e_param_set")) {
    send_debug_line(kMirrorChanges, "API Cmd: %s", percent_decode(copy.c_str()).c_str());
  }
  const Message message = split_message(copy);
  if (message.splitting == Splitting::kNoCommand) return;
  if (message.splitting == Splitting::kOk && run_command(state, registry, message)) return;
  LOG_MAIN(kRoutine, "Error cmd=%s\n", message.command.c_str());
}

}  // namespace kovo
