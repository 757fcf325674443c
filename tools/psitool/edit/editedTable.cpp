#include "edit/editedTable.h"

#include "demux/transportPacket.h"

#include <algorithm>
#include <string_view>

namespace psitool {

namespace {

/** A stream that runs for months changes its tables again and again. */
constexpr std::size_t mostVersions = 1024;
constexpr std::size_t longHeader = 8;

constexpr bool isSdt(u8 tableId)
{
    return tableId == 0x42 || tableId == 0x46;
}

constexpr bool isEit(u8 tableId)
{
    return tableId >= 0x4E && tableId <= 0x6F;
}

constexpr bool isSchedule(u8 tableId)
{
    return tableId >= 0x50 && tableId <= 0x6F;
}

std::string_view text(ByteView bytes)
{
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

} // namespace

bool isLongForm(ByteView section)
{
    return section.size() >= longHeader && psi::demux::isLongForm(section.data());
}

u16 idExtensionOf(ByteView section)
{
    return isLongForm(section) ? psi::demux::tableIdExtension(section.data()) : u16{0};
}

u8 versionOf(ByteView section)
{
    return isLongForm(section) ? section[5] >> 1 & 0x1F : u8{0};
}

bool isCurrent(ByteView section)
{
    return !isLongForm(section) || (section[5] & 1) != 0;
}

bool isGuide(const TableKind &kind)
{
    return kind.standard == Standard::atsc && (kind.tableId == 0xCB || kind.tableId == 0xCC);
}

std::string tableKey(u16 pid, ByteView section)
{
    std::string key = {static_cast<char>(pid >> 8), static_cast<char>(pid), static_cast<char>(section[0])};
    if (!isLongForm(section))
        return key;
    const std::size_t more = isEit(section[0]) ? 4 : isSdt(section[0]) ? 2 : 0; // network and stream of a service
    return key + std::string(text(section.part(3, 2))) + std::string(text(section.part(longHeader, more)));
}

/* ---- versions -------------------------------------------------------------------------------------------------------
 */

Sections EditedTable::Version::known() const
{
    Sections all;
    for (const auto &[number, section] : sections)
        all.push_back(*section);
    return all;
}

u8 EditedTable::Version::number() const
{
    return versionOf(view(*sections.begin()->second));
}

void EditedTable::Version::prepare()
{
    if (state == State::edited || (state == State::untouched && !table.touched_))
        return;
    Sections fresh;
    edited.clear();
    state = table.apply(known(), fresh) ? State::edited : State::untouched;
    for (Bytes &section : fresh)
        edited.push_back(std::make_shared<const Bytes>(std::move(section)));
}

std::vector<SharedSection> EditedTable::Version::inPlaceOf(u8 number)
{
    const u8 stored = table.standAlone() ? u8{0} : number;
    if (table.removed())
        return {};
    if (!complete())
        return table.touched_ ? std::vector<SharedSection>() : std::vector<SharedSection>{sections.at(stored)};
    try {
        prepare();
    } catch (const std::runtime_error &error) {
        table.refusal_ = error.what();
        return {sections.at(stored)};
    }
    if (state == State::untouched)
        return {sections.at(stored)};
    const std::size_t from = std::min<std::size_t>(stored, edited.size());
    const std::size_t to = stored == last ? edited.size() : std::min<std::size_t>(stored + 1U, edited.size());
    return {edited.begin() + static_cast<std::ptrdiff_t>(from), edited.begin() + static_cast<std::ptrdiff_t>(to)};
}

std::int64_t EditedTable::Version::growth() const
{
    std::int64_t bytes = 0;
    for (const SharedSection &section : edited)
        bytes += static_cast<std::int64_t>(section->size());
    for (const auto &[number, section] : sections)
        bytes -= static_cast<std::int64_t>(section->size());
    return state == State::edited ? bytes : 0;
}

/* ---- tables ---------------------------------------------------------------------------------------------------------
 */

EditedTable::EditedTable(const TableContext &context, std::vector<const TableEdit *> edits, bool &touched)
    : context_(context), edits_(std::move(edits)), touched_(touched)
{
    touched_ |= std::any_of(edits_.begin(), edits_.end(), [](const TableEdit *edit) { return edit->touches; });
}

bool EditedTable::removed() const
{
    return std::any_of(edits_.begin(), edits_.end(), [](const TableEdit *edit) { return edit->removes; });
}

bool EditedTable::standAlone() const
{
    return isSchedule(context_.kind->tableId) || context_.kind->isShort();
}

bool EditedTable::edits(const TableEdit &edit) const
{
    return std::find(edits_.begin(), edits_.end(), &edit) != edits_.end();
}

/** @return whether anything is to be sent in place of the old sections */
bool EditedTable::apply(const Sections &old, Sections &fresh)
{
    bool replaced = false;
    Sections base = old;
    for (const TableEdit *edit : edits_)
        if (std::optional<Sections> other = edit->replace ? edit->replace(base) : std::nullopt) {
            base = std::move(*other);
            replaced = true;
        }
    Trees trees = readTrees(base, context_);
    raiseVersion(trees);
    const Trees asItWas = trees;
    bool hit = false;
    for (const TableEdit *edit : edits_)
        hit |= edit->change && edit->change(trees);
    requireSameTable(asItWas, trees, context_, standAlone());
    if (!hit && !replaced && !touched_)
        return false;
    fresh = writeTrees(std::move(trees), context_);
    // A value that was there already is no new version.
    touched_ = touched_ || replaced || fresh != writeTrees(asItWas, context_);
    return touched_;
}

std::uint64_t EditedTable::keyOf(ByteView section) const
{
    if (standAlone() || !isLongForm(section))
        return std::hash<std::string_view>()(text(section));
    const u8 last = section[7];
    const std::uint64_t key = u32{versionOf(section)} << 8 | last;
    constexpr std::size_t crcBytes = 4;
    return last != 0 ? key : key << 32 | ByteReader(section.part(section.size() - crcBytes)).u32Field();
}

std::shared_ptr<EditedTable::Version> EditedTable::add(ByteView section)
{
    const bool alone = standAlone() || !isLongForm(section);
    std::shared_ptr<Version> &place = versions_[keyOf(section)];
    if (place == nullptr)
        place = std::make_shared<Version>(*this);
    std::shared_ptr<Version> version = place;
    version->last = alone ? u8{0} : section[7];
    version->lastUse = ++uses_;
    SharedSection &stored = version->sections[alone ? u8{0} : section[6]];
    if (stored == nullptr || !std::equal(section.begin(), section.end(), stored->begin(), stored->end())) {
        stored = std::make_shared<const Bytes>(section.begin(), section.end());
        version->state = Version::State::raw;
    }
    if (versions_.size() > mostVersions)
        forgetOldest();
    return version;
}

void EditedTable::forgetOldest()
{
    const auto oldest = std::min_element(versions_.begin(), versions_.end(), [](const auto &a, const auto &b) {
        return a.second->lastUse < b.second->lastUse;
    });
    versions_.erase(oldest);
}

bool EditedTable::editAll()
{
    bool any = false;
    for (const auto &[key, version] : versions_) {
        if (!version->complete())
            continue;
        version->prepare();
        any = true;
    }
    return any;
}

std::vector<Sections> EditedTable::completeVersions() const
{
    std::vector<Sections> all;
    for (const auto &[key, version] : versions_)
        if (version->complete())
            all.push_back(version->known());
    return all;
}

std::int64_t EditedTable::growthOf(u8 versionNumber) const
{
    const Version *found = nullptr;
    for (const auto &[key, version] : versions_) {
        if (!version->complete())
            continue;
        const bool better = !found || (version->number() == versionNumber) > (found->number() == versionNumber) ||
                            (version->number() == found->number() && version->lastUse > found->lastUse);
        if (better)
            found = version.get();
    }
    return found ? found->growth() : 0;
}

EditedTable *EditedTables::of(u16 pid, ByteView section)
{
    const std::string key = tableKey(pid, section);
    const auto known = tables_.find(key);
    if (known != tables_.end())
        return known->second.get();
    const TableKind *kind = tableKindOf(section, pid);
    std::vector<const TableEdit *> chosen;
    for (const TableEdit &edit : edits)
        if (kind && edit.selects(pid, section))
            chosen.push_back(&edit);
    if (chosen.empty()) // not remembered: a flood of such tables takes no room from those that are edited
        return nullptr;
    if (tables_.size() >= mostTables) {
        ++beyond_;
        return nullptr;
    }
    const auto place = tables_.try_emplace(key).first;
    constexpr std::size_t pidAndTableId = 3;
    bool &touched = touched_[isGuide(*kind) ? place->first.substr(0, pidAndTableId) : place->first];
    place->second = std::make_unique<EditedTable>(TableContext{kind, pid, usual}, std::move(chosen), touched);
    return place->second.get();
}

std::vector<EditedTable *> EditedTables::all() const
{
    std::vector<EditedTable *> all;
    for (const auto &[key, table] : tables_)
        all.push_back(table.get());
    return all;
}

} // namespace psitool
