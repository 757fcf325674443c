/**
 * @file roads.h
 * @brief The roads through the library, as a host takes them, for tests that let them fail at every step.
 */
#ifndef PSITEST_ROADS_H
#define PSITEST_ROADS_H

#include "support/fullSection.h"
#include "support/makeFixture.h"
#include "support/packetBuilder.h"
#include "support/searchTest.h"
#include "support/syntaxTree.h"
#include "support/treeEdits.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace psitest {

/** @brief An operation with all that it needs. What it holds in the pool goes when it goes. */
class Road {
public:
    Road() = default;
    virtual ~Road() = default;
    Road(const Road &) = delete;
    Road &operator=(const Road &) = delete;

    /** @brief Give back what the others made: the same number of blocks is live after each. */
    virtual void clear() {}
    /** @brief From there to the state in which the operation is run; to be called where nothing fails. */
    virtual void prepare() {}
    /** @brief Run the operation and keep its result. */
    virtual void operate() = 0;
    /**
     * @brief Fails the test unless the result, and what there is now, are as documented.
     * @param failed whether a call within the operation was made to fail
     */
    virtual void expectDocumented(bool failed) const = 0;
    /** @brief What a host does between a failure and the next try. */
    virtual void recover() {}
    /** @brief The ways of failing that it can be tried with. */
    virtual std::vector<Fail> modes() const { return {Fail::Once, Fail::FromThenOn, Fail::Every}; }
    /** @brief What was made, as text. */
    virtual std::string made() const = 0;
};

/* ---- Nodes, records, objects ---- */

/** @brief The second node of a list. */
template <typename Node> class NodeCreation : public Road {
public:
    using Creat = Node *(*)(Node **);
    using Destroy = std::function<i32(Node **, Node *)>;

    NodeCreation(Creat creat, Destroy destroy) : creat_(creat), destroy_(std::move(destroy)) {}
    ~NodeCreation() override { NodeCreation::clear(); }
    void clear() override
    {
        while (head_ != nullptr && destroy_(&head_, head_) == 0) {
        }
    }
    void prepare() override { creat_(&head_); }
    void operate() override { node_ = creat_(&head_); }
    void expectDocumented(bool failed) const override
    {
        const std::vector<Node *> nodes = nodesOf(head_);
        EXPECT_EQ(failed ? 1U : 2U, nodes.size());
        EXPECT_EQ(failed ? nullptr : nodes.back(), node_);
    }
    std::string made() const override
    {
        const u8 *bytes = reinterpret_cast<const u8 *>(node_);
        return hexOf(bytesAt(bytes + sizeof(zlstNode), sizeof(Node) - sizeof(zlstNode)));
    }

private:
    Creat creat_;
    Destroy destroy_;
    Node *head_ = nullptr;
    Node *node_ = nullptr;
};

template <typename Record> class RecordCreation : public Road {
public:
    using Creat = Record *(*)();
    using Destroy = i32 (*)(Record *);

    RecordCreation(Creat creat, Destroy destroy) : creat_(creat), destroy_(destroy) {}
    ~RecordCreation() override { RecordCreation::clear(); }
    void clear() override
    {
        if (Record *record = std::exchange(record_, nullptr)) {
            EXPECT_EQ(0, destroy_(record));
        }
    }
    void operate() override { record_ = creat_(); }
    void expectDocumented(bool failed) const override { EXPECT_EQ(failed, record_ == nullptr); }
    std::string made() const override { return hexOf(bytesAt(reinterpret_cast<const u8 *>(record_), sizeof(Record))); }

private:
    Creat creat_;
    Destroy destroy_;
    Record *record_ = nullptr;
};

/** @brief A search object. */
struct SearchSide {
    static psiObjId creat()
    {
        psiSchRegisterInfo record = {};
        record.psiSearchHandle = [](psiSchInfo *) { return 0; };
        record.readPsiHandle = [](psiSchInfo *, u8 *, u8 *) -> i32 { return PSI_NO_TABLE; };
        return psiSchCreate(&record);
    }
    static i32 destroy(psiObjId id) { return psiSchDestroy(id); }
    static tableObj *object(psiObjId id) { return getTableObj(id); }
    static tableObj *first() { return headTableObj; }
};

/** @brief A make object. */
struct MakeSide {
    static psiObjId creat() { return psiMakeCreate(); }
    static i32 destroy(psiObjId id) { return psiMakeDestroy(id); }
    static tableMakeObj *object(psiObjId id) { return getOutTableObj(id); }
    static tableMakeObj *first() { return headMakeTableObj; }
};

template <typename Side> class ObjectCreation : public Road {
public:
    ~ObjectCreation() override { ObjectCreation::clear(); }
    void clear() override
    {
        if (const psiObjId id = std::exchange(id_, 0)) {
            EXPECT_EQ(0, Side::destroy(id));
        }
    }
    void operate() override { id_ = Side::creat(); }
    void expectDocumented(bool failed) const override
    {
        EXPECT_EQ(failed, id_ == 0);
        EXPECT_EQ(failed, Side::first() == nullptr);
        if (id_ != 0) {
            EXPECT_EQ(Side::first(), Side::object(id_));
            EXPECT_TRUE(mutexIsFree(Side::object(id_)->semId));
        }
    }
    std::string made() const override { return textOf(Side::object(id_)->tsInfo); }

private:
    psiObjId id_ = 0;
};

/* ---- Framing and parsing ---- */

/** @brief The packets of a section are put back together. */
class Reassembly : public Road {
public:
    using Operation = i32 (*)(const u8 *, u8, u8 *, u16 *);

    Reassembly(Operation operation, std::size_t bodyBytes)
        : operation_(operation), packets_(packetsOf(LongSectionBuilder(0x42).body(counting(bodyBytes)).build()))
    {
    }
    void prepare() override
    {
        section_.assign(4096, 0xEE);
        len_ = 0xEEEE;
    }
    void operate() override
    {
        result_ = operation_(packets_.data(), static_cast<u8>(packets_.size() / packetSize), section_.data(), &len_);
    }
    void expectDocumented(bool failed) const override
    {
        EXPECT_EQ(failed ? -1 : 0, result_);
        if (failed) {
            EXPECT_EQ(0xEEEE, len_);
            EXPECT_EQ(repeated(4096, 0xEE), section_) << "nothing is written";
        }
    }
    std::string made() const override { return hexOf(bytesAt(section_.data(), len_)); }

private:
    Operation operation_;
    Bytes packets_;
    Bytes section_;
    u16 len_ = 0;
    i32 result_ = 0;
};

/** @brief A section of one type that has one of everything. */
class Parsing : public Road {
public:
    explicit Parsing(u32 type) : type_(type), section_(fullSection(type)) {}
    ~Parsing() override { Parsing::clear(); }
    void clear() override
    {
        void *tree = std::exchange(tree_, &before_);
        if (tree != &before_) {
            EXPECT_EQ(0, syntaxDestroyPsiSection(type_, tree));
        }
    }
    void operate() override
    {
        result_ = syntaxAnalysePsi(type_, &tree_, section_.data(), static_cast<u32>(section_.size()));
    }
    void expectDocumented(bool failed) const override
    {
        EXPECT_EQ(failed ? -1 : 0, result_);
        EXPECT_EQ(failed, tree_ == &before_) << "unchanged on failure";
    }
    std::string made() const override { return describeTree(type_, tree_); }

private:
    u32 type_;
    Bytes section_;
    i32 before_ = 0;
    void *tree_ = &before_;
    i32 result_ = 0;
};

/* ---- Analysis ---- */

/** @brief A section of one type is folded into the model that has its program. */
class Analysis : public Road {
public:
    /** @param ioFlag 0: by reference, 1: by copy */
    Analysis(u32 type, u32 ioFlag) : type_(static_cast<u8>(type)), ioFlag_(ioFlag), model_(ioFlag) {}
    void clear() override { model_.clear(); }
    void prepare() override
    {
        if (type_ != PSI_PAT) {
            EXPECT_EQ(0, analysePsi(model_.get(), store(PSI_PAT), ioFlag_));
        }
        node_ = store(type_);
    }
    void operate() override { result_ = analysePsi(model_.get(), node_, ioFlag_); }
    void expectDocumented(bool failed) const override
    {
        EXPECT_EQ(failed ? -1 : 0, result_);
        ioFlag_ == 0 ? expectNoDanglingBytes(*model_.get()) : expectOwnedBytes(*model_.get());
        if (type_ == PSI_PMT) {
            EXPECT_EQ(failed ? 0 : 1, model_.get()->progList->pmtValid);
        }
    }
    void recover() override
    {
        // What was read before the failure stays, so the section is not analysed into the same model again.
        clear();
        prepare();
    }
    std::string made() const override { return textOf(*model_.get()); }

private:
    sectionData *store(u8 type) { return storeSection(&model_->sectionList, type, sampleSection(type)); }

    u8 type_;
    u32 ioFlag_;
    LooseModel model_;
    sectionData *node_ = nullptr;
    i32 result_ = 0;
};

/* ---- Searches ---- */

/** @brief Does the host filter by section_number? */
enum class Sections { asWanted, inAnyOrder };

/** @brief Searches of a stream that has all tables of a standard. */
class Searching : public Road {
public:
    explicit Searching(Standard standard, Sections sections = Sections::asWanted)
        : standard_(standard), sections_(sections), carousel_(500, sections == Sections::asWanted)
    {
        standard == dvb ? fillDvb(carousel_) : fillAtsc(carousel_);
        carousel_.drive(host_);
    }
    void clear() override
    {
        EXPECT_EQ(0, clearTableInfo(host_.id()));
        host_.takeCalls();
    }
    std::string made() const override
    {
        std::string text = textOf(*host_.model());
        for (const sectionData *node : nodesOf(host_.model()->sectionList))
            text += format("%u %04x %s\n", node->psiType, node->pid, hexOf(bytesAt(node->buf, node->len)).c_str());
        return text;
    }
    std::vector<Fail> modes() const override
    {
        // Behind a section that failed, the one before it may come again and is analysed twice: where every n-th call
        // fails, until the pool is full.
        return sections_ == Sections::asWanted ? Road::modes() : std::vector<Fail>{Fail::Once, Fail::FromThenOn};
    }

protected:
    Standard standard() const { return standard_; }
    psiObjId id() const { return host_.id(); }
    const tsInfo &model() const { return *host_.model(); }
    /** @brief The stream begins anew with every search. */
    void rewind() { carousel_.rewind(); }
    void searchAll()
    {
        rewind();
        EXPECT_EQ(0, autoSchTable(id(), standard_));
    }
    /** @brief Sections that a search of the type has to have counted; for the PMT, programs. */
    u32 found(u32 type) const
    {
        const std::vector<progInfo *> programs = nodesOf(model().progList);
        const auto valid = [](const progInfo *prog) { return prog->pmtValid == 1; };
        const auto n = type == PSI_PMT
                           ? static_cast<std::size_t>(std::count_if(programs.begin(), programs.end(), valid))
                           : sectionNodes(&model(), static_cast<u8>(type)).size();
        return static_cast<u32>(n);
    }
    bool inMask(u32 type) const { return (model().tableMask & 1U << type) != 0; }
    void expectSound() const
    {
        EXPECT_TRUE(mutexIsFree(host_.object()->semId));
        expectNoDanglingBytes(model());
    }

private:
    Standard standard_;
    Sections sections_;
    Carousel carousel_;
    ScriptedHost host_;
};

/** @brief schTable() of one type, behind the PAT. */
class OneSearch : public Searching {
public:
    OneSearch(Standard standard, u32 type) : Searching(standard), type_(type) {}
    void prepare() override
    {
        rewind();
        if (type_ != PSI_PAT) {
            EXPECT_LT(0U, schTable(id(), PSI_PAT));
        }
    }
    void operate() override
    {
        rewind();
        result_ = schTable(id(), type_);
    }
    void expectDocumented(bool failed) const override
    {
        EXPECT_EQ(found(type_), result_);
        if (type_ != PSI_PMT) {
            EXPECT_EQ(result_ > 0, inMask(type_));
        }
        if (!failed) {
            EXPECT_LT(0U, result_);
        }
        expectSound();
    }
    void recover() override
    {
        clear();
        prepare();
    }

private:
    u32 type_;
    u32 result_ = 0;
};

/** @brief autoSchTable() */
class StandardSearch : public Searching {
public:
    using Searching::Searching;
    void operate() override
    {
        rewind();
        result_ = autoSchTable(id(), standard());
    }
    void expectDocumented(bool failed) const override
    {
        EXPECT_EQ(inMask(PSI_PAT) ? 0 : -1, result_);
        if (!failed) {
            EXPECT_EQ(standard() == dvb ? 0xF0FDU : 0xE81U, model().tableMask);
        }
        expectSound();
    }
    void recover() override { clear(); }

private:
    i32 result_ = 0;
};

/** @brief re_SchTable() of one type when all is there. After a failure it is just called again. */
class SearchAgain : public Searching {
public:
    SearchAgain(Standard standard, u32 type) : Searching(standard), type_(type) {}
    void prepare() override { searchAll(); }
    void operate() override
    {
        rewind();
        result_ = re_SchTable(id(), type_, standard());
    }
    void expectDocumented(bool failed) const override
    {
        constexpr u32 patGroup[] = {PSI_PAT, PSI_PMT, PSI_SDT_ACTUAL, PSI_CAT, PSI_VCT};
        const bool ofPat = std::find(std::begin(patGroup), std::end(patGroup), type_) != std::end(patGroup);
        const u32 counted = ofPat ? u32{PSI_PAT} : type_;
        EXPECT_EQ(found(counted), result_);
        EXPECT_EQ(result_ > 0, inMask(counted));
        if (!failed) {
            EXPECT_LT(0U, result_);
        }
        expectSound();
    }

private:
    u32 type_;
    u32 result_ = 0;
};

/* ---- Generation ---- */

/** @brief Generates again from a model all of whose tables were generated before. */
class Generation : public Road {
public:
    using Generate = std::function<i32(psiObjId id, tsInfo *model)>;
    /** @brief The result that is documented, from whether a call failed. */
    using Result = std::function<i32(const tsInfo &model, bool failed)>;

    Generation(PlainModel plain, Standard standard, Generate generate, Result result)
        : plain_(std::move(plain)), standard_(standard), generate_(std::move(generate)), documented_(std::move(result))
    {
    }
    ~Generation() override { EXPECT_EQ(0, psiMakeDestroy(id_)); }
    void clear() override { EXPECT_EQ(0, clearMakeTableInfo(id_)); }
    void prepare() override
    {
        fillModel(model_, plain_);
        modelBefore_ = textOf(*model_);
        EXPECT_EQ(0, AutoMakeSection(id_, standard_));
        EXPECT_EQ(expected_, madeSections(model_));
    }
    void operate() override { result_ = generate_(id_, model_); }
    void expectDocumented(bool failed) const override
    {
        EXPECT_EQ(documented_(*model_, failed), result_);
        EXPECT_EQ(modelBefore_, textOf(*model_)) << "the model is only read";
        EXPECT_TRUE(mutexIsFree(getOutTableObj(id_)->semId));
        expectOwnedBytes(*model_);
        expectWholeSections();
    }
    std::string made() const override
    {
        std::string text;
        for (const sectionData *node : nodesOf(model_->sectionList))
            text += format("%u %u %s\n", node->psiType, node->idExt, hexOf(bytesAt(node->buf, node->len)).c_str());
        return text;
    }

private:
    /** @brief Of every type there are sections that have to be there, in their order, and no others. */
    void expectWholeSections() const
    {
        for (const u8 type : {PSI_PAT, PSI_PMT, PSI_CAT, PSI_SDT_ACTUAL, PSI_VCT}) {
            std::vector<Bytes> all;
            for (const auto &[ofType, section] : expected_) {
                if (ofType == type)
                    all.push_back(section);
            }
            auto at = all.begin();
            for (const Bytes &section : sectionsOf(model_, type)) {
                at = std::find(at, all.end(), section);
                ASSERT_NE(all.end(), at) << "a section of type " << int{type} << " that nobody asked for";
                ++at;
            }
        }
    }

    PlainModel plain_;
    Standard standard_;
    std::vector<std::pair<u8, Bytes>> expected_ = expectedSections(plain_, standard_);
    Generate generate_;
    Result documented_;
    psiObjId id_ = psiMakeCreate();
    tsInfo *model_ = getMakeObjDataInfo(id_);
    std::string modelBefore_;
    i32 result_ = 0;
};

/* ---- Regeneration and editing ---- */

/** @brief An edit by the sizes of the tree's entries. */
struct Shape {
    const char *name;
    std::vector<std::size_t> entries;
    u8 number = 0;
    u8 last = 0; /**< above 0: the other sections of the table have entries of 300 and of 500 bytes */
};

/** @brief A make object with the stored sections of an SDT, a NIT or a BAT. */
template <typename Table> class StoredTable : public Road {
public:
    ~StoredTable() override { EXPECT_EQ(0, psiMakeDestroy(id_)); }
    void clear() override { EXPECT_EQ(0, clearMakeTableInfo(id_)); }
    std::string made() const override
    {
        std::string text;
        for (const Bytes &section : sections())
            text += hexOf(section) + "\n";
        return text;
    }

protected:
    static PlainTree stored(u8 number, u8 last) { return SampleTrees<Table>::treeOf({300, 500}, number, last); }
    void store(u8 last)
    {
        for (u8 number = 0; number <= last; ++number)
            storeSection(&model_->sectionList, Table::actualType, Table::section(stored(number, last)));
    }
    tsInfo *model() const { return model_; }
    std::vector<Bytes> sections() const { return sectionsOf(model_, Table::actualType); }
    void expectSound() const { EXPECT_TRUE(mutexIsFree(getOutTableObj(id_)->semId)); }

private:
    psiObjId id_ = psiMakeCreate();
    tsInfo *model_ = getMakeObjDataInfo(id_);
};

/** @brief A tree is written back. */
template <typename Table> class WriteBack : public StoredTable<Table> {
public:
    using Write = i32 (*)(tsInfo *, typename Table::Section *, u16);

    WriteBack(Shape shape, Write write)
        : write_(write), last_(shape.last), edited_(editedTree(shape)), tree_(edited_), treeBefore_(text())
    {
    }
    void prepare() override { this->store(last_); }
    void operate() override { result_ = write_(this->model(), tree_.get(), sampleTableExt); }
    void expectDocumented(bool failed) const override
    {
        EXPECT_EQ(treeBefore_, text()) << "the caller's tree is only read";
        this->expectSound();
        if (result_ == 0)
            expectWritten(failed);
        else
            EXPECT_EQ(failed ? -1 : 0, result_);
    }
    void recover() override
    {
        // There is no way back from a failure while sections are stored.
        this->clear();
        prepare();
    }

private:
    static PlainTree editedTree(const Shape &shape)
    {
        PlainTree tree = SampleTrees<Table>::treeOf(shape.entries, shape.number, shape.last);
        if (!SampleTrees<Table>::isSdt)
            tree.descriptors = {{0x40, bytesOf("net")}, {0x41, {}}};
        return tree;
    }
    std::string text() const { return textOfTree<Table>(*tree_.get()); }
    bool isGathered() const { return last_ > 0; }
    /** @brief The table of the edited tree and of the other stored sections, each when its bit is set. */
    PlainTree gathered(u32 kept) const
    {
        PlainTree total = edited_;
        total.descriptors.clear();
        total.entries.clear();
        for (u8 number = 0; number <= last_; ++number) {
            if ((kept & 1U << number) == 0)
                continue;
            const PlainTree part = number == edited_.number ? edited_ : this->stored(number, last_);
            total.descriptors.insert(total.descriptors.end(), part.descriptors.begin(), part.descriptors.end());
            total.entries.insert(total.entries.end(), part.entries.begin(), part.entries.end());
        }
        return total;
    }
    /** @brief Success: the whole table; but a stored section that cannot be parsed, for want of memory, adds nothing.
     */
    void expectWritten(bool failed) const
    {
        const u32 all = (1U << (last_ + 1)) - 1;
        bool known = expectedOf(all) == this->sections();
        for (u32 kept = 0; failed && isGathered() && kept < all; ++kept)
            known = known || ((kept & 1U << edited_.number) != 0 && expectedOf(kept) == this->sections());
        EXPECT_TRUE(known) << "sections that are not those of the table";
        EXPECT_TRUE(!failed || isGathered()) << "success without a result";
    }
    std::vector<Bytes> expectedOf(u32 kept) const
    {
        return edited_.entries.size() == 1 ? std::vector<Bytes>{Table::section(edited_)}
                                           : expectedRebuild<Table>(gathered(kept));
    }

    Write write_;
    u8 last_;
    PlainTree edited_;
    TreeGuard<Table> tree_;
    std::string treeBefore_;
    i32 result_ = 0;
};

/** @brief A stored section is parsed, gets an entry of ten descriptors, is written back and sent. */
template <typename Edits> class Editing : public StoredTable<Edits> {
public:
    void prepare() override { this->store(0); }
    void operate() override
    {
        sent_.clear();
        done_ = edit() && send();
    }
    void expectDocumented(bool failed) const override
    {
        EXPECT_EQ(!failed, done_);
        this->expectSound();
        if (done_) {
            EXPECT_EQ(2U, this->sections().size());
            EXPECT_EQ(this->sections(), sent_);
        }
    }
    void recover() override
    {
        this->clear();
        prepare();
    }

private:
    using Section = typename Edits::Section;
    static constexpr u8 payload = 50;

    bool edit()
    {
        const sectionData *old = this->model()->sectionList;
        void *tree = nullptr;
        if (syntaxAnalysePsi(Edits::actualType, &tree, old->buf, old->len) != 0)
            return false;
        const bool written = addEntry(static_cast<Section *>(tree)) &&
                             syntaxSIMakeSeciton(this->model(), tree, sampleTableExt, Edits::actualType) == 0;
        EXPECT_EQ(0, syntaxDestroyPsiSection(Edits::actualType, tree));
        return written;
    }
    static bool addEntry(Section *tree)
    {
        auto *entry = Edits::creat(Edits::entries(tree), 77);
        for (int i = 0; entry != nullptr && i < 10; ++i) {
            if (!addDescriptor(Edits::descriptors(entry)))
                return false;
        }
        return entry != nullptr;
    }
    static bool addDescriptor(descInfo **list)
    {
        descInfo *added = descInfoCreat(list);
        if (added == nullptr)
            return false;
        added->descTag = 0x80;
        added->descData = static_cast<u8 *>(psi_buddy_malloc(payload));
        if (added->descData == nullptr)
            return false;
        added->descLen = payload;
        std::memset(added->descData, 0x33, payload);
        return true;
    }
    /** @brief Cuts every section into packets and puts it together, as the receiver does. */
    bool send()
    {
        u8 packets[6 * packetSize];
        u8 section[1024];
        for (const Bytes &bytes : this->sections()) {
            u8 count = 0;
            u16 len = 0;
            if (psiSectionToTs(0x11, bytes.data(), static_cast<u16>(bytes.size()), packets, &count) != 0 ||
                psiTsToSection(packets, count, section, &len) != 0)
                return false;
            sent_.emplace_back(section, section + len);
        }
        return true;
    }

    bool done_ = false;
    std::vector<Bytes> sent_;
};

} // namespace psitest

#endif // PSITEST_ROADS_H
