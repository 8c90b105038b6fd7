// SPDX-License-Identifier: Apache-2.0
#include "vellix/CatImageCmdXmlFileHelper.h"

#include <new>

#include "vellix/VellixReader.h"
#include "vellix/VellixWriter.h"

namespace {

constexpr unsigned short kImageId = 1; // ID of the CatDoc document

} // namespace

CatImageCmdXmlFileHelper::CatImageCmdXmlFileHelper()
    : imageDoc(VELLIX_DOC_DOC), commandDoc(VELLIX_DOC_FH), loadedImage(VELLIX_DOC_DOC), loadedCommands(VELLIX_DOC_FH) {}

CatImageCmdXmlFileHelper::~CatImageCmdXmlFileHelper() {
    try {
        close();
    } catch (...) {
        // What could not be written is lost, as with every writer that is destroyed without a close.
    }
    imageDoc.setWriter(nullptr); // the writer goes first
    commandDoc.setWriter(nullptr);
}

bool CatImageCmdXmlFileHelper::create(const wchar_t* path) {
    if (writer != nullptr) close();
    intact = false;
    commandDoc = VellixDoc(VELLIX_DOC_FH);
    writer.reset(new (std::nothrow) VellixWriter(VELLIX_DOC_RESULTS));
    return writer != nullptr && writer->create(path);
}

void CatImageCmdXmlFileHelper::setImageId(const char* id) {
    imageDoc.addAttribute(kImageId, id);
    imageWaits = false;
}

const char* CatImageCmdXmlFileHelper::getImageId() const {
    return (imageWaits ? loadedImage : imageDoc).getAttribute(kImageId);
}

bool CatImageCmdXmlFileHelper::addImageCmd(VellixEntry& entry) {
    if (writer == nullptr) return false;
    if (firstCommand) {
        writer->addDoc(imageDoc);
        imageDoc.addChildDoc(commandDoc);
        firstCommand = false; // not before: without its writer the document would hold the commands instead
    }
    return commandDoc.addEntry(entry);
}

bool CatImageCmdXmlFileHelper::load(const wchar_t* path) {
    if (reader != nullptr) close();
    reader.reset(new (std::nothrow) VellixReader(VELLIX_DOC_RESULTS));
    return reader != nullptr && reader->load(path) && standOnFirstCommand();
}

bool CatImageCmdXmlFileHelper::load(const char* text, unsigned long length) {
    if (reader != nullptr) close();
    reader.reset(new (std::nothrow) VellixReader(VELLIX_DOC_RESULTS));
    return reader != nullptr && reader->load(text, length) && standOnFirstCommand();
}

bool CatImageCmdXmlFileHelper::standOnFirstCommand() {
    VellixDoc image(VELLIX_DOC_DOC);
    if (!reader->getFirstDoc(image)) return false;
    loadedImage = static_cast<const VellixEntry&>(image);
    imageWaits = true;
    if (writer == nullptr) takeLoadedImage();
    return image.getFirstChildDoc(loadedCommands);
}

// Lets the next file have the tag of the image that was read.
void CatImageCmdXmlFileHelper::takeLoadedImage() {
    if (imageWaits) imageDoc = static_cast<const VellixEntry&>(loadedImage);
    imageWaits = false;
}

bool CatImageCmdXmlFileHelper::isIntact() const { return writer != nullptr ? writer->isIntact() : intact; }

bool CatImageCmdXmlFileHelper::getFirstImageCmd(VellixEntry& entry) { return getNextImageCmd(entry); }

bool CatImageCmdXmlFileHelper::getNextImageCmd(VellixEntry& entry) { return loadedCommands.getNextEntry(entry); }

int CatImageCmdXmlFileHelper::getReadError() const {
    return reader != nullptr ? reader->getLastError() : VELLIX_SUCCESS;
}

void CatImageCmdXmlFileHelper::close() {
    if (writer != nullptr) endWriting();
    loadedCommands.setReader(nullptr);
    reader.reset();
}

// Ends the file, children before parents, and leaves the documents ready for the next one.
void CatImageCmdXmlFileHelper::endWriting() {
    commandDoc.close();
    imageDoc.close();
    writer->close();
    intact = writer->isIntact();
    commandDoc.setWriter(nullptr);
    imageDoc.setWriter(nullptr);
    writer.reset();
    firstCommand = true;
    takeLoadedImage();
}
