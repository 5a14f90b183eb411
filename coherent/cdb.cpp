// CDB requests of a coherent port are handed to the SDK, which runs the
// module's CDB engine itself.
#include <algorithm>
#include <cstdint>
#include <limits>

#include "coherent/coherent.h"
#include "framework/trace.h"

namespace {

struct CdbMap {
    std::uint32_t command;
    std::uint32_t operation;
};
constexpr CdbMap kCommands[] = {
    {QSFP_DD_CDB_QUERY_STATUS, COH_SDK_CDB_QUERY},
    {QSFP_DD_CDB_DOWNLOAD, COH_SDK_CDB_DOWNLOAD},
    {QSFP_DD_CDB_RUN, COH_SDK_CDB_RUN},
    {QSFP_DD_CDB_COMMIT, COH_SDK_CDB_COMMIT},
};

const CdbMap *find_command(std::uint32_t command) {
    for (const CdbMap &m : kCommands) {
        if (m.command == command) {
            return &m;
        }
    }
    return nullptr;
}

coh_sdk_cdb_record record_of(const cdb_cmd_info &request, std::uint32_t operation) {
    coh_sdk_cdb_record record{};
    record.operation = operation;
    record.args[0] = reinterpret_cast<std::uintptr_t>(request.file_name);
    record.args[1] = reinterpret_cast<std::uintptr_t>(request.response);
    record.args[2] = request.response_capacity;
    return record;
}

std::uint32_t length_of(std::uint64_t result) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(result, std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

extern "C" uint32_t coherent_module_cdb_cmd_execute(qsfp_port_ctx *port, void *command) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    auto *request = static_cast<cdb_cmd_info *>(command);
    if (request == nullptr) {
        trace_err(port, "cdb cmd execute failed, null param\n");
        return QSFP_ERR_INVALID;
    }
    const CdbMap *m = find_command(request->command);
    if (m == nullptr) {
        trace_err(port, "cdb cmd %d unknown\n", request->command);
        return QSFP_ERR_INVALID;
    }
    coh_sdk_cdb_record record = record_of(*request, m->operation);
    const std::uint32_t rc = coh_sdk_handle_cdb_cmd(qsfp::coherent::device_key(port), &record);
    if (rc != COH_SDK_OK) {
        trace_err(port, "cdb cmd %d, failed\n", request->command);
    } else {
        trace_evt(port, "cdb cmd %d, success\n", request->command);
    }
    if (request->response_length != nullptr) {
        *request->response_length = length_of(record.result);
    }
    return rc;
}
