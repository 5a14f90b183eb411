#include "replay_backend.h"

#include <cstring>
#include <fstream>
#include <mutex>

#include <nlohmann/json.hpp>

#include "access_log.h"

namespace qsfpctl {

namespace {

// What a replayed access answers once the run has left the log (EIO).
constexpr std::uint32_t kDiverged = 5;

struct LoggedAccess {
    AccessRecord record;
    std::size_t line = 0;
};

std::string describe(AccessDirection direction, std::uint8_t page, std::uint8_t reg, std::uint32_t length) {
    return std::string("a ") + direction_name(direction) + " of page " + std::to_string(page) + " register " +
           std::to_string(reg) + " length " + std::to_string(length);
}

}  // namespace

class ReplayScript {
public:
    explicit ReplayScript(std::string path) : path_(std::move(path)) {}

    std::string load(std::vector<CageRecord> &cages);
    std::string divergence() const {
        const std::lock_guard lock(mu_);
        return divergence_;
    }
    // The next logged access of `cage`, if it is the one asked for; answers
    // the logged result and fills `buf` for a read.
    std::uint32_t answer(std::size_t cage, AccessDirection direction, std::uint8_t reg, std::uint8_t page,
                         std::uint32_t len, void *buf, std::uint64_t arg);

private:
    std::string line_error(std::size_t line, const std::string &what) const {
        return "replay log " + path_ + " line " + std::to_string(line) + ": " + what;
    }
    std::string parse_line(const nlohmann::json &j, std::size_t line, std::vector<CageRecord> &cages);
    std::uint32_t diverge(const std::string &reason) {
        if (divergence_.empty()) divergence_ = reason;
        return kDiverged;
    }

    std::string path_;
    mutable std::mutex mu_;
    std::vector<std::vector<LoggedAccess>> queues_;
    std::vector<std::size_t> next_;
    std::string divergence_;
};

namespace {

// A field of a log line: present and of the type asked for.
template <typename T>
bool field(const nlohmann::json &j, const char *name, T &value, std::string &error) {
    const auto it = j.find(name);
    const bool ok = it != j.end() && (std::is_same_v<T, bool>          ? it->is_boolean()
                                      : std::is_same_v<T, std::string> ? it->is_string()
                                                                       : it->is_number_unsigned());
    if (!ok) {
        error = std::string("field \"") + name + "\" missing or of the wrong type";
        return false;
    }
    value = it->get<T>();
    return true;
}

}  // namespace

std::string ReplayScript::parse_line(const nlohmann::json &j, std::size_t line, std::vector<CageRecord> &cages) {
    std::string kind, error;
    std::uint64_t cage = 0;
    if (!j.is_object() || !field(j, "record", kind, error) || !field(j, "cage", cage, error)) {
        return line_error(line, error.empty() ? "not a log record" : error);
    }
    if (kind == "cage") {
        CageRecord c;
        c.cage = cage;
        if (!field(j, "backend", c.backend, error) || !field(j, "direct_page", c.direct_page, error) ||
            !field(j, "writable", c.writable, error) || !field(j, "bring_up", c.bring_up, error)) {
            return line_error(line, error);
        }
        if (cage != cages.size() + 1) {
            return line_error(line, "cage " + std::to_string(cage) + " out of order (expected cage " +
                                        std::to_string(cages.size() + 1) + ")");
        }
        cages.push_back(c);
        queues_.emplace_back();
        return "";
    }
    if (kind != "access") {
        return line_error(line, "unknown record \"" + kind + "\"");
    }
    if (cage < 1 || cage > cages.size()) {
        return line_error(line, "access of cage " + std::to_string(cage) + ", which has no cage line before it");
    }
    std::string direction, hex;
    std::uint64_t time = 0, page = 0, reg = 0, length = 0, result = 0;
    if (!field(j, "time_us", time, error) || !field(j, "direction", direction, error) ||
        !field(j, "page", page, error) || !field(j, "register", reg, error) || !field(j, "length", length, error) ||
        !field(j, "bytes", hex, error) || !field(j, "result", result, error)) {
        return line_error(line, error);
    }
    const std::optional<AccessDirection> dir = direction_from_name(direction);
    if (!dir) return line_error(line, "unknown direction \"" + direction + "\"");
    if (page > 255 || reg > 255 || length > 256 || result > UINT32_MAX) {
        return line_error(line, "page, register, length or result out of range");
    }
    std::optional<std::vector<std::uint8_t>> bytes = parse_hex_bytes(hex);
    if (!bytes) return line_error(line, "bytes \"" + hex + "\" are not hex pairs");
    if (!bytes->empty() && bytes->size() != length) {
        return line_error(line, "bytes hold " + std::to_string(bytes->size()) + " bytes, length says " +
                                    std::to_string(length));
    }
    if (result == 0 && *dir != AccessDirection::write && bytes->size() != length) {
        return line_error(line, "a read that succeeded must hold its bytes");
    }
    std::uint64_t arg = 0;
    if (*dir == AccessDirection::bit_bang_read && !field(j, "arg", arg, error)) return line_error(line, error);
    AccessRecord r{cage,
                   time,
                   *dir,
                   static_cast<std::uint8_t>(page),
                   static_cast<std::uint8_t>(reg),
                   static_cast<std::uint32_t>(length),
                   std::move(*bytes),
                   static_cast<std::uint32_t>(result),
                   arg};
    queues_[cage - 1].push_back({std::move(r), line});
    return "";
}

std::string ReplayScript::load(std::vector<CageRecord> &cages) {
    std::ifstream in(path_);
    if (!in) {
        return "replay log " + path_ + " cannot be read: " + std::strerror(errno);
    }
    std::string text;
    std::size_t line = 0;
    while (std::getline(in, text)) {
        ++line;
        if (text.empty()) continue;
        const nlohmann::json j = nlohmann::json::parse(text, nullptr, false);
        if (j.is_discarded()) return line_error(line, "not a JSON object");
        if (std::string error = parse_line(j, line, cages); !error.empty()) return error;
    }
    if (cages.empty()) {
        return "replay log " + path_ + " holds no cage line: not a qsfpctl --record log";
    }
    next_.assign(cages.size(), 0);
    return "";
}

std::uint32_t ReplayScript::answer(std::size_t cage, AccessDirection direction, std::uint8_t reg, std::uint8_t page,
                                   std::uint32_t len, void *buf, std::uint64_t arg) {
    const std::lock_guard lock(mu_);
    if (!divergence_.empty()) return kDiverged;
    const std::string asked = describe(direction, page, reg, len);
    std::vector<LoggedAccess> &queue = queues_[cage - 1];
    std::size_t &next = next_[cage - 1];
    if (next >= queue.size()) {
        return diverge("replay log " + path_ + ": cage " + std::to_string(cage) + " has no more accesses, the run made " +
                       asked);
    }
    const LoggedAccess &logged = queue[next];
    const AccessRecord &r = logged.record;
    if (r.direction != direction || r.page != page || r.reg != reg || r.length != len ||
        (direction == AccessDirection::bit_bang_read && r.bit_bang_arg != arg)) {
        return diverge(line_error(logged.line, "the log has " + describe(r.direction, r.page, r.reg, r.length) +
                                                   ", the run made " + asked));
    }
    const auto *data = static_cast<std::uint8_t *>(buf);
    if (direction == AccessDirection::write &&
        (r.bytes.size() != len || (len > 0 && (buf == nullptr || std::memcmp(r.bytes.data(), data, len) != 0)))) {
        return diverge(line_error(logged.line, "the run wrote " +
                                                   hex_bytes({data, buf != nullptr ? len : 0}) +
                                                   ", the log has " + hex_bytes(r.bytes)));
    }
    if (direction != AccessDirection::write && r.result == 0 && buf != nullptr && len > 0) {
        std::memcpy(buf, r.bytes.data(), len);
    }
    ++next;
    return r.result;
}

namespace {

class ReplayCage : public CageBackend {
public:
    ReplayCage(std::shared_ptr<ReplayScript> script, CageRecord record)
        : script_(std::move(script)), record_(std::move(record)) {}

    CageAccess access() override {
        CageAccess a;
        a.read = read;
        a.write = write;
        a.bit_bang_read = bit_bang_read;
        a.opaque = reinterpret_cast<std::uint64_t>(this);
        a.direct_page = record_.direct_page;
        a.writable = record_.writable;
        a.bring_up = record_.bring_up;
        return a;
    }

    std::string describe() const override { return "replay of " + record_.backend; }

private:
    static ReplayCage &of(uint64_t opaque) { return *reinterpret_cast<ReplayCage *>(opaque); }
    static uint32_t read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf) {
        ReplayCage &self = of(opaque);
        return self.script_->answer(self.record_.cage, AccessDirection::read, reg, page, len, buf, 0);
    }
    static uint32_t write(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, const void *buf) {
        ReplayCage &self = of(opaque);
        return self.script_->answer(self.record_.cage, AccessDirection::write, reg, page, len,
                                    const_cast<void *>(buf), 0);
    }
    static uint32_t bit_bang_read(uint64_t opaque, uint8_t reg, uint8_t page, uint32_t len, void *buf,
                                  uint64_t arg) {
        ReplayCage &self = of(opaque);
        return self.script_->answer(self.record_.cage, AccessDirection::bit_bang_read, reg, page, len, buf, arg);
    }

    std::shared_ptr<ReplayScript> script_;
    CageRecord record_;
};

}  // namespace

OpenedReplay open_replay(const std::string &path) {
    auto script = std::make_shared<ReplayScript>(path);
    std::vector<CageRecord> records;
    OpenedReplay opened;
    opened.error = script->load(records);
    if (!opened.error.empty()) {
        return opened;
    }
    for (CageRecord &record : records) {
        opened.cages.push_back(std::make_unique<ReplayCage>(script, std::move(record)));
    }
    opened.script = script;
    return opened;
}

std::string replay_divergence(const ReplayScript &script) { return script.divergence(); }

}  // namespace qsfpctl
