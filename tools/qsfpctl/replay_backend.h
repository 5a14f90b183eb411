// `--replay FILE`: cages that answer from a bus-transaction log written by
// `--record`. Reads answer the logged bytes and result in order, writes are
// checked against the log; the first access that differs from the log stops
// the replay (every later access fails) and is reported after the command.
#pragma once

#include <memory>
#include <string>

#include "cage_backend.h"

namespace qsfpctl {

class ReplayScript;

struct OpenedReplay {
    CageList cages;  // empty when the log cannot be used; `error` says why
    std::string error;
    std::shared_ptr<const ReplayScript> script;
};

OpenedReplay open_replay(const std::string &path);

// Where the run left the log: "" while it followed it, else the one-line
// reason naming the log line.
std::string replay_divergence(const ReplayScript &script);

}  // namespace qsfpctl
