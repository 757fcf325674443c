// libFuzzer's mutations, and as often a change of one value of the JSON, which stays JSON.
#include "psi.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <random>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(u8 *data, std::size_t size, std::size_t maxSize);
extern "C" std::size_t LLVMFuzzerCustomMutator(u8 *data, std::size_t size, std::size_t maxSize, unsigned seed);

namespace {

using Json = nlohmann::json;

void collect(Json &value, std::vector<Json *> &all)
{
    all.push_back(&value);
    if (value.is_structured()) {
        for (Json &child : value)
            collect(child, all);
    }
}

class Change {
public:
    explicit Change(unsigned seed) : random_(seed) {}

    void one(Json &root)
    {
        std::vector<Json *> all;
        collect(root, all);
        Json &value = *all[below(all.size())];
        switch (below(5)) {
        case 0:
            value = Json(*all[below(all.size())]);
            return;
        case 1:
            if (value.is_structured() && !value.empty())
                value.erase(std::next(value.begin(), static_cast<std::ptrdiff_t>(below(value.size()))));
            return;
        case 2:
            if (value.is_array() && !value.empty())
                value.push_back(Json(value[below(value.size())]));
            return;
        case 3:
            return text(value);
        default:
            return number(value);
        }
    }

private:
    std::size_t below(std::size_t bound) { return random_() % bound; }
    void number(Json &value)
    {
        constexpr u32 edges[] = {0, 1, 5, 0xFF, 0x100, 0x1FFF, 0x2000, 0xFFFF, 0x10000, 0xFFFFFFFF};
        if (value.is_boolean())
            value = !value.get<bool>();
        else if (value.is_number())
            value = below(2) == 0 ? edges[below(std::size(edges))] : static_cast<u32>(below(300));
    }
    /** @brief Byte runs are strings of hexadecimal digits; now and then one is none. */
    void text(Json &value)
    {
        if (!value.is_string())
            return;
        std::string digits(below(4) == 0 ? below(600) : below(30) * 2, '0');
        for (char &digit : digits)
            digit = "0123456789abcdefg"[below(below(8) == 0 ? 17 : 16)];
        value = digits;
    }

    std::mt19937 random_;
};

/** @return the new size, 0 when it is no JSON or becomes too long */
std::size_t changeJson(u8 *data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    Json root = Json::parse(data + 1, data + size, nullptr, false);
    if (root.is_discarded())
        return 0;
    Change(seed).one(root);
    const std::string text = root.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (1 + text.size() > maxSize)
        return 0;
    std::copy(text.begin(), text.end(), data + 1);
    return 1 + text.size();
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(u8 *data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    const std::size_t newSize = seed % 2 == 0 && size > 1 ? changeJson(data, size, maxSize, seed) : 0;
    return newSize != 0 ? newSize : LLVMFuzzerMutate(data, size, maxSize);
}
