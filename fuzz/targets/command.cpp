// Each command by its keyword: a byte of the input chooses the row of the table, the rest follows its keyword.
#include "manager.h"

void fuzz::Command(Input& input, unsigned flags) {
    const auto keywords = CommandManagerTest::Keywords();
    const std::string_view keyword = keywords[input.Byte() % keywords.size()].keyword;
    Block request(keyword.begin(), keyword.end());
    const Block rest = input.Rest();
    request.insert(request.end(), rest.begin(), rest.end());
    Input whole(request);
    Dispatcher(whole, flags);
}
