// What a campaign is of. DIR/campaign.json records it, so that the same command goes on with it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "driver/settings.h"

struct CAMPAIGN_FILE {
    int64_t first_seed = 0;             // 0: left open
    std::string generator;              // empty: left open
    bool quick = false;                 // load points are cut to a thousandth
    std::optional<SETTINGS> experiment; // none: left open, or the published one
};

std::optional<GENERATOR> GeneratorCalled(const std::string &name);

// Fills in, from the campaign in `dir` if there is one, what `campaign` leaves open. Returns what
// stands against going on with it, or an empty text.
std::string ReadCampaign(const std::string &dir, CAMPAIGN_FILE &campaign);

// Records a new campaign, unless another command has just done so. Returns what stands against it,
// or an empty text.
std::string WriteCampaign(const std::string &dir, const CAMPAIGN_FILE &campaign);
