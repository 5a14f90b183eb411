// The CDB entry point: a request's command chooses the status query or the
// firmware steps, and its outcome ends the response.
#include "cmis/cdb.h"
#include "cmis/driver.h"
#include "framework/trace.h"

namespace qsfp::cmis {

namespace {

constexpr std::uint32_t kLastCommand = 407;

std::uint32_t dispatch(const cdb::Call &call) {
    switch (call.request->command) {
    case QSFP_DD_CDB_QUERY_STATUS: return cdb::query_status(call);
    case QSFP_DD_CDB_DOWNLOAD:
    case QSFP_DD_CDB_DOWNLOAD + 1: return cdb::download(call);
    case QSFP_DD_CDB_RUN: return cdb::run_image(call);
    case QSFP_DD_CDB_COMMIT: return cdb::commit_image(call);
    case QSFP_DD_CDB_DOWNLOAD_RUN:
    case QSFP_DD_CDB_DOWNLOAD_RUN + 1:
    case QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT:
    case QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT + 1: return cdb::download(call);
    default: return QSFP_ERR_INVALID;  // 1-399 and above 407: nothing is sent
    }
}
static_assert(QSFP_DD_CDB_DOWNLOAD_RUN_COMMIT + 1 == kLastCommand);

}  // namespace

std::uint32_t cdb_cmd_execute(qsfp_port_ctx *port, void *request) {
    return qsfp_dd_cdb_cmd_execute(port, static_cast<cdb_cmd_info *>(request));
}

}  // namespace qsfp::cmis

extern "C" uint32_t qsfp_dd_cdb_cmd_execute(qsfp_port_ctx *port, cdb_cmd_info *request) {
    if (port == nullptr) {
        return QSFP_ERR_INVALID;
    }
    if (request == nullptr) {
        trace_err(port, "Invalid input cdb_cmd_info null\n");
        return QSFP_ERR_INVALID;
    }
    if (request->file_name != nullptr) {
        trace_evt(port, "cdb cmd execute-id: %d,filename %s\n", request->command, request->file_name);
    }
    const qsfp::cmis::cdb::Call call{port, request};
    const std::uint32_t rc = qsfp::cmis::dispatch(call);
    qsfp::cmis::cdb::progress(call, rc == QSFP_OK ? "CDB operation SUCCESS." : "CDB operation FAILED.");
    return rc;
}
