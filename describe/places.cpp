#include "describe/places.h"

#include <algorithm>

namespace psi::describe {

namespace {

class Places {
public:
    void add(const Fields &fields, const std::string &path)
    {
        for (const Field &field : fields)
            add(field, path + std::string(field.key));
    }

    /** In order, and with what lies between them. */
    std::vector<PlacedField> all(u32 bits)
    {
        std::stable_sort(places_.begin(), places_.end(),
                         [](const PlacedField &a, const PlacedField &b) { return a.bit < b.bit; });
        std::vector<PlacedField> whole;
        u32 at = 0;
        for (PlacedField &place : places_) {
            if (place.bit > at)
                whole.push_back({"", at, place.bit - at});
            at = place.bit + place.bits;
            whole.push_back(std::move(place));
        }
        if (at < bits)
            whole.push_back({"", at, bits - at});
        return whole;
    }

private:
    void add(const Field &field, const std::string &path)
    {
        for (std::size_t i = 0; i < field.items.size(); ++i)
            add(field.items[i], path + "[" + std::to_string(i) + "].");
        for (std::size_t i = 0; i < field.descriptors.size(); ++i)
            add(field.descriptors[i], path + "[" + std::to_string(i) + "].");
        const bool loop = field.kind == Field::Kind::list || field.kind == Field::Kind::descriptors;
        if (!loop && field.bits > 0)
            places_.push_back({path, field.bit, field.bits});
    }

    void add(const ReadDescriptor &descriptor, const std::string &path)
    {
        constexpr u32 byte = 8;
        places_.push_back({path + "descriptor_tag", descriptor.bit, byte});
        places_.push_back({path + "descriptor_length", descriptor.bit + byte, byte});
        const DescribedDescriptor &said = descriptor.description;
        const u32 payload = static_cast<u32>(descriptor.payload.size()) * byte;
        if (!said.fields.empty())
            add(said.fields, path + said.name + ".");
        else if (payload > 0)
            places_.push_back({path + "data", descriptor.bit + 2 * byte, payload});
    }

    std::vector<PlacedField> places_;
};

} // namespace

std::vector<PlacedField> placesOf(const Fields &fields, u32 bits)
{
    Places places;
    places.add(fields, "");
    return places.all(bits);
}

} // namespace psi::describe
