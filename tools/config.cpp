#include "tools/commands.h"
#include "tools/config_report.h"
#include "tools/panel_text.h"

#include <cstdio>

int ctl::config() {
    int status = statusFine;
    for (const ConfigReport& report : checkConfiguration()) {
        std::printf("%s\n", report.path.c_str());
        for (const ConfigValue& value : report.values) {
            std::printf("  %-15s %s\n", value.name.c_str(), fromPanelText(value.text).c_str());
        }
        for (const Finding& finding : report.findings) {
            std::printf("%s\n", describe(report, finding).c_str());
        }
        if (!report.isFine()) {
            status = statusTrouble;
        }
    }
    return status;
}
