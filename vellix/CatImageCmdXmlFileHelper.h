// SPDX-License-Identifier: Apache-2.0
#ifndef CAT_IMAGE_CMD_XML_FILE_HELPER_H
#define CAT_IMAGE_CMD_XML_FILE_HELPER_H

#include <memory>

#include "vellix/VellixDoc.h"

class VellixReader;
class VellixWriter;

// Writes and reads files of image commands: entries with the attributes of VELLIX_DOC_FH that belong to one image id.
//
//     CatImageCmdXmlFileHelper out;
//     out.create(L"commands.xml");
//     out.setImageId("42");
//     VellixEntry command(VELLIX_DOC_FH);
//     command.addAttribute(6, "a.txt");
//     out.addImageCmd(command);
//     out.close();
//
//     CatImageCmdXmlFileHelper in;
//     if (in.load(L"commands.xml"))                       // in.getImageId() is "42"
//         while (in.getNextImageCmd(command))
//             use(command.getAttribute(6));
//
// The commands pass straight through, so their number costs no memory. The file is not marked complete. A helper writes
// and reads any number of files, one after the other. It belongs to one thread at a time and can't be copied. `create`
// and both forms of `load` let the exceptions of VellixWriter and VellixReader through.
class VELLIX_API CatImageCmdXmlFileHelper {
public:
    CatImageCmdXmlFileHelper();

    /// Closes what is open.
    virtual ~CatImageCmdXmlFileHelper();

    CatImageCmdXmlFileHelper(const CatImageCmdXmlFileHelper&) = delete;
    CatImageCmdXmlFileHelper& operator=(const CatImageCmdXmlFileHelper&) = delete;

    /// Starts a file at `path`. If one is being written `close` comes first, which also ends what is being read. The image
    /// id stays, with what `load` read along with it. False if it can't be opened.
    /// The path is the system's own on Windows; elsewhere it stands for UTF-8, whatever the locale, and `vellix::widePath`
    /// gives any name of a file.
    bool create(const wchar_t* path);

    /// Sets the image id; null takes it away. It reaches the file if this comes before the first `addImageCmd`.
    void setImageId(const char* id);

    /// Returns the image id that was set or read last, or null if there is none. It lives until the next `setImageId`,
    /// `load`, `create` or `close`.
    const char* getImageId() const;

    /// Appends a command, whose type becomes VELLIX_DOC_FH. False if no file is being written or the command could not
    /// be written.
    bool addImageCmd(VellixEntry& entry);

    /// True if a file is being written and nothing of it was lost so far, or if the last one that was written is whole. It
    /// says nothing of what is read.
    bool isIntact() const;

    /// Opens a file, or a text in memory that must outlive the reading, and stands in front of its first command. If
    /// something is being read `close` comes first, which also ends a file that is being written. False if it can't be
    /// opened, or if its first page doesn't hold the tags CatResults, CatDoc and CatFH in this order; a text counts as one
    /// page. True also without any command: then the first `getNextImageCmd` is false.
    /// The image document takes all attributes of the CatDoc tag, and hands them on to the next file that is written. A
    /// file that is being written keeps its own, also if its tag is still to come.
    /// The path is as for `create`.
    bool load(const wchar_t* path);
    bool load(const char* text, unsigned long length);

    /// Fill `entry` with the next command. Both are one operation: `getFirstImageCmd` rewinds nothing. False at the end,
    /// or if nothing is loaded.
    bool getFirstImageCmd(VellixEntry& entry);
    bool getNextImageCmd(VellixEntry& entry);

    /// Returns why something of what was loaded last wasn't read, or why it wasn't loaded, as VellixReader::getLastError does.
    /// VELLIX_SUCCESS at its true end, and when nothing is loaded. Ask before `close`.
    int getReadError() const;

    /// Ends the file that is being written, and what is being read. The image id stays.
    void close();

private:
    bool standOnFirstCommand();
    void takeLoadedImage();
    void endWriting();

    std::unique_ptr<VellixWriter> writer;
    std::unique_ptr<VellixReader> reader;
    VellixDoc imageDoc; // the tag of the file that is written now or next
    VellixDoc commandDoc;
    VellixDoc loadedImage;
    bool imageWaits = false;  // for the end of a file, to take the place of `imageDoc`
    VellixDoc loadedCommands; // apart from `commandDoc`, so that reading doesn't disturb a file that is being written
    bool firstCommand = true; // no command has been added to the file yet
    bool intact = false;      // the file that was ended last
};

#endif
