// The integration guide shows the records as the code has them.
#include "playback/record_tables.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

TEST(RecordTables, TheIntegrationGuideShowsTheCodesOwnRecords) {
    std::stringstream text;
    text << std::ifstream(ZUL_SOURCE_DIR "/docs/integration.md").rdbuf();
    ASSERT_FALSE(text.str().empty());
    EXPECT_EQ(WithRecordTables(text.str()), text.str()) << "make them anew: record_tables docs/integration.md";
}
