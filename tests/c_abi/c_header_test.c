/* Compiled as C11 with the umbrella header alone: a C caller reaches a
 * function of every public header, and the fixed layouts hold in C too. */
#include <qsfp/qsfp.h>

#include <stdio.h>
#include <string.h>

_Static_assert(sizeof(qsfp_hw_status) == 1600, "status record");
_Static_assert(sizeof(qsfp_threshold_data) == 80, "threshold record");
_Static_assert(sizeof(qsfp_hw_info) == 228, "inventory record");
_Static_assert(sizeof(qsfp_drv_fvt) == 31 * sizeof(void *), "driver table slots");
_Static_assert(offsetof(qsfp_drv_fvt, get_firmware_update_progress) == 30 * sizeof(void *), "last slot");
_Static_assert(offsetof(qsfp_port_ctx, port_lock) == 0, "port_lock first");
_Static_assert(sizeof(qsfp_coh_traffic_config) == 32, "traffic config: eight words");
_Static_assert(sizeof(qsfp_coh_perf_mon_config) == 4, "perf-mon config: four bytes");
_Static_assert(sizeof(qsfp_coh_module_config) == sizeof(coh_sdk_module_cfg), "module config mirrors the SDK's");
_Static_assert(offsetof(qsfp_coh_module_config, flags) == offsetof(coh_sdk_module_cfg, flags), "config flags");
_Static_assert(sizeof(qsfp_coh_thresholds) == sizeof(coh_sdk_thresholds), "thresholds mirror the SDK's");
_Static_assert(sizeof(qsfp_coh_sim_alarms) == 12, "three alarm bitmaps");
_Static_assert(sizeof(coh_sdk_device_create_record) == 74, "device-create record");

static int failures;

static void check(int ok, const char *what) {
    if (!ok) {
        fprintf(stderr, "C caller: %s\n", what);
        ++failures;
    }
}

/* Lower memory and upper page 00h with both identifier checksums right. */
static void identifier_image(uint8_t *mem) {
    unsigned sum = 0;
    memset(mem, 0, 256);
    mem[0] = 0x11;
    mem[128] = 0x11;
    memcpy(&mem[148], "C CALLER        ", 16);
    for (int i = 128; i <= 190; ++i) sum += mem[i];
    mem[191] = (uint8_t)sum;
    mem[192] = 0x02;
    sum = 0;
    for (int i = 192; i <= 222; ++i) sum += mem[i];
    mem[223] = (uint8_t)sum;
}

static mgd_timer *g_tree;

int main(void) {
    /* qsfp_port.h */
    check(qsfp_get_ctx() != NULL, "qsfp_get_ctx");
    check(qsfp_port_get_rate(0x11) == 100, "qsfp_port_get_rate(0x11)");

    /* qsfp_port_ops.h, with the codes of qsfp_types.h */
    check(qsfp_port_admin_state(NULL, 0, 1, 0x0F) == QSFP_ERR_INVALID, "qsfp_port_admin_state(NULL)");

    /* qsfp_sff8636.h */
    char text[8] = "ab c   ";
    trim_trailing_spaces(text, 7);
    check(strcmp(text, "ab c") == 0, "trim_trailing_spaces");

    /* qsfp_cmis.h */
    uint32_t oper_mode = 99;
    check(qsfp_dd_port_get_default_oper_mode(NULL, &oper_mode) == QSFP_ERR_INVALID && oper_mode == 99,
          "qsfp_dd_port_get_default_oper_mode(NULL)");
    check(QSFP_DD_OPER_MODE_2X100G == 15 && QSFP_DD_TYPE_400G_ZRP == 0xD0, "CMIS codes");

    /* qsfp_compliance.h */
    uint8_t mem[256];
    uint32_t result = 99;
    identifier_image(mem);
    check(qsfp_xcvr_check_compliance(mem, &result) == QSFP_OK && result == QSFP_COMPLIANCE_OK,
          "qsfp_xcvr_check_compliance, good image");
    mem[191] ^= 0xFF;
    check(qsfp_xcvr_check_compliance(mem, &result) == QSFP_OK && result == QSFP_COMPLIANCE_BASE_CHECKSUM,
          "qsfp_xcvr_check_compliance, bad base checksum");

    /* qsfp_decode.h, with a record of qsfp_records.h */
    static qsfp8636_id_record rows[QSFP8636_THRESHOLD_RECORD_ROWS];
    static const uint8_t page03[128];
    check(qsfp8636_xcvr_decode_qsfp8636_threshold(page03, (char *)rows) == QSFP_OK && rows[0].label[0] != '\0',
          "qsfp8636_xcvr_decode_qsfp8636_threshold on a zero page");
    check(qsfp8636_xcvr_decode_qsfp8636_threshold(NULL, (char *)rows) == QSFP_ERR_INVALID,
          "qsfp8636_xcvr_decode_qsfp8636_threshold(NULL)");
    qsfp_hw_status status;
    memset(&status, 0, sizeof status);
    status.media_type = 4;
    static qsfp8636_lane_record lanes;
    check(qsfp8636_xcvr_decode_qsfp8636_dom_lane_info(&status, (char *)&lanes) == 4, "lane decoder");

    /* qsfp_coherent.h and coh_sdk.h */
    static coh_sdk_pm_data pm;
    coh_sdk_hw_config config;
    coh_sdk_hw_state state;
    coh_sdk_alarms alarms;
    memset(&config, 0, sizeof config);
    memset(&state, 0, sizeof state);
    memset(&alarms, 0, sizeof alarms);
    pm.valid = 1;
    pm.current[0] = -7.5f;
    state.laser = COH_SDK_STATE_UP;
    alarms.module = COH_SDK_MOD_LASER_FAULT;
    memset(&status, 0, sizeof status);
    check(coherent_module_copy_hw_config_alarms_pm_data(&status, &config, &state, &pm, &alarms) == QSFP_OK,
          "coherent_module_copy_hw_config_alarms_pm_data");
    float current0;
    memcpy(&current0, &status.coherent[QSFP_COH_ENTRY(QSFP_COH_STATUS_PM_CURRENT)], sizeof current0);
    check(status.coherent[QSFP_COH_ENTRY(QSFP_COH_STATUS_PM_VALID)] == 1 && current0 == -7.5f &&
              status.coherent[QSFP_COH_ENTRY(QSFP_COH_STATUS_STATE + 1)] == COH_SDK_STATE_UP &&
              status.coherent[QSFP_COH_ENTRY(QSFP_COH_STATUS_ALARMS + 3)] == COH_SDK_MOD_LASER_FAULT,
          "coherent section entries");
    check(coherent_module_copy_hw_config_alarms_pm_data(NULL, &config, &state, &pm, &alarms) == QSFP_ERR_INVALID,
          "coherent_module_copy_hw_config_alarms_pm_data(NULL)");
    check(coherent_module_init(NULL) == QSFP_ERR_INVALID, "coherent_module_init(NULL)");
    uint32_t pin = 0;
    check(coherent_module_read_status_pin(NULL, &pin) == QSFP_ERR_INVALID, "coherent_module_read_status_pin(NULL)");

    /* platform.h: the interface has no tree free (a library's tree lives as
     * long as the process), so the tree is kept for the process's life too. */
    g_tree = mgd_timer_tree_new();
    check(g_tree != NULL && mgd_timer_tree_first_expired(g_tree) == NULL, "mgd_timer_tree_new");

    return failures == 0 ? 0 : 1;
}
