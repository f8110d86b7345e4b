// SPDX-License-Identifier: MIT
//
// The settings files of the suite.
#pragma once

namespace settings {

constexpr const char *interventionPath = "/etc/halvex/intervention.conf";
constexpr const char *blockTimePath = "/etc/halvex/interventions/.block_time";
constexpr const char *notifyPath = "/etc/halvex/research/etc/ossec.conf";
constexpr const char *aiPath = "/usr/lib/halvex_net_ai/config.yaml";
constexpr const char *serverAiPath = "/opt/norva-ai-dga-detect/config.yaml";

} // namespace settings
