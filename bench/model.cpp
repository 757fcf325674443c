#include "model.h"

#include "measure.h"

namespace psibench {

Model::Model(Payloads payloads) : object_(psiMakeCreate()), payloads_(payloads)
{
    require(object_ != 0);
}

Model::~Model()
{
    clear();
    psiMakeDestroy(object_);
}

void Model::analyse(const std::vector<StoredSection> &sections)
{
    for (const StoredSection &section : sections)
        analyse(section);
}

void Model::analyse(const StoredSection &section)
{
    sectionData node = {};
    node.psiType = static_cast<u8>(section.type);
    node.idExt = static_cast<u16>(section.bytes[3] << 8 | section.bytes[4]);
    node.len = static_cast<u16>(section.bytes.size());
    node.buf = const_cast<u8 *>(section.bytes.data()); // read only
    require(analysePsi(info(), &node, static_cast<u32>(payloads_)) == 0);
}

void Model::clear()
{
    const u32 freeData = static_cast<u32>(payloads_);
    tsInfo *model = info();
    if (payloads_ == Payloads::copied) {
        require(clearMakeTableInfo(object_) == 0);
        return;
    }
    while (model->progList)
        require(progInfoDestroy(&model->progList, model->progList, freeData) == 0);
    while (model->catDescList)
        require(descInfoDestroy(&model->catDescList, model->catDescList, freeData) == 0);
    model->netname = nullptr;
    model->netnameLen = 0;
}

} // namespace psibench
