// A release 12 drawing made by the test builder whose style table holds one style per
// font name given ("STYLE0", "STYLE1", ...), for the tests of fonts found through styles.
#pragma once

#include "support/dwg12_builder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace shx_test {

inline std::vector<uint8_t> DrawingWithStyles(const std::vector<std::string> &fonts) {
    velko_test::Dwg12FileBuilder builder;
    builder.AddMinimalTables();
    builder.records(velko_test::kStyleTable).clear();
    for (size_t i = 0; i < fonts.size(); ++i) {
        velko_test::StyleRec style;
        style.name = "STYLE" + std::to_string(i);
        style.font_file = fonts[i];
        builder.Add(style);
    }
    return builder.Build();
}

} // namespace shx_test
