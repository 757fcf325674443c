/**
 * @file model.h
 * @brief A model of a transport stream to analyse sections into and to make sections from.
 */
#ifndef PSIBENCH_MODEL_H
#define PSIBENCH_MODEL_H

#include "testSections.h"

#include <vector>

namespace psibench {

/** @brief A section with the table that it belongs to. */
struct StoredSection {
    u32 type;
    Bytes bytes;
};

/** @brief The model of a make object, so that what is made of it has an owner. */
class Model {
public:
    /** @brief Where names and payloads lie: in blocks of the model, or in the sections, which then must outlive it. */
    enum class Payloads : u32 { inSections = 0, copied = 1 };

    explicit Model(Payloads payloads = Payloads::copied);
    ~Model();
    Model(const Model &) = delete;
    Model &operator=(const Model &) = delete;

    tsInfo *info() const { return getMakeObjDataInfo(object_); }
    void analyse(const std::vector<StoredSection> &sections);
    void analyse(const StoredSection &section);
    /** @brief Forget the programs and all lists. */
    void clear();

private:
    psiObjId object_;
    Payloads payloads_;
};

} // namespace psibench

#endif // PSIBENCH_MODEL_H
