#include "libSysmira/enumeration/WindowsDrive.h"

#include <cstring>

#include "libSysmira/enumeration/WindowsDeviceSet.h"
#include "tests/behaviour/StoragePc.h"

namespace {

using libSysmira::ScsiAddress;
using libSysmira::Volume;
using libSysmira::WindowsDevice;
using libSysmira::WindowsDrive;
using zor::TriBool;

class Drive : public StoragePc {
protected:
    void SetUp() override {
        StoragePc::SetUp();
        model = &addDrive(1);
        forgetCalls();
    }

    WindowsDrive drive() { return WindowsDrive(zorText(drivePath(1))); }

    template <class Work>
    void expectAssertion(Work&& work) {
        log.clear();
        try {
            work();
            ADD_FAILURE() << "no assertion";
        } catch (const zor::RaisedException& raised) {
            EXPECT_EQ(raised.getCode(), 7u);
        }
        EXPECT_EQ(lines(), Strings{"zor.AssertionFailure 4 libSysmira/enumeration/WindowsDrive: assertion "
                                   "failed: storageDescriptorInitialized()"});
    }

    // A descriptor of 60 bytes: the fixed fields, then what is given, filled up with 'x'.
    static std::vector<unsigned char> descriptor(const std::string& texts) {
        STORAGE_DEVICE_DESCRIPTOR head = {};
        head.Size = 60;
        std::vector<unsigned char> bytes(60, 'x');
        std::memcpy(bytes.data() + sizeof head, texts.data(), texts.size());
        std::memcpy(bytes.data(), &head, sizeof head);
        return bytes;
    }
    static void put(std::vector<unsigned char>& bytes, size_t offset, DWORD value) {
        std::memcpy(bytes.data() + offset, &value, sizeof value);
    }
    static constexpr size_t sizeAt = offsetof(STORAGE_DEVICE_DESCRIPTOR, Size);
    static constexpr size_t vendorAt = offsetof(STORAGE_DEVICE_DESCRIPTOR, VendorIdOffset);
    static constexpr size_t productAt = offsetof(STORAGE_DEVICE_DESCRIPTOR, ProductIdOffset);
    static constexpr size_t serialAt = offsetof(STORAGE_DEVICE_DESCRIPTOR, SerialNumberOffset);

    simulation::Disk* model = nullptr;
};

// Description

TEST_F(Drive, TellsWhatItsDescriptorTells) {
    const WindowsDrive disk = drive();
    EXPECT_EQ(callNames(),
              (Strings{"CreateFileW", "IOCTL_STORAGE_QUERY_PROPERTY", "IOCTL_STORAGE_QUERY_PROPERTY"}));
    EXPECT_EQ(argumentsOf("CreateFileW"), Strings{"\\\\.\\PhysicalDrive1, 0xC0000000, 3, 3, 0"});
    EXPECT_EQ(argumentsOf("IOCTL_STORAGE_QUERY_PROPERTY"), (Strings{"12, 40", "12, 80"}));
    EXPECT_EQ(plain(disk.vendorId()), "NORD    ");
    EXPECT_EQ(plain(disk.productId()), "Licht  1000     ");
    EXPECT_EQ(plain(disk.modelId()), "NORD Licht 1000 ");
    EXPECT_EQ(plain(disk.productRevision()), "1.0 ");
    EXPECT_EQ(plain(disk.serialNumber()), "  N-0815");
    EXPECT_TRUE(disk.storageDescriptorInitialized());
    EXPECT_EQ(disk.type(), 0u);
    EXPECT_EQ(disk.busType(), static_cast<unsigned>(BusTypeSata));
    EXPECT_EQ(disk.getMediaType(), WindowsDrive::FixedMediaType);
    EXPECT_TRUE(disk.isDisk());
    EXPECT_FALSE(disk.isOptical());
}

TEST_F(Drive, IsADiskOrOpticalByMediaAndType) {
    struct Row {
        BYTE type;
        bool removable, disk, optical;
    };
    for (const Row& row :
         {Row{0, false, true, false}, Row{14, false, true, false}, Row{0, true, false, false},
          Row{1, false, false, false}, Row{5, true, false, true}, Row{7, false, false, true},
          Row{15, true, false, true}, Row{6, false, false, false}}) {
        model->scsiType = row.type;
        model->removable = row.removable;
        EXPECT_EQ(drive().isDisk(), row.disk) << int{row.type};
        EXPECT_EQ(drive().isOptical(), row.optical) << int{row.type};
        EXPECT_EQ(drive().getMediaType() == WindowsDrive::RemovableMediaType, row.removable);
    }
}

TEST_F(Drive, WithoutDescriptorIsMisusedByQueriesOfIt) {
    const WindowsDrive none;
    EXPECT_EQ(none.getMediaType(), WindowsDrive::UnknownMediaType);
    EXPECT_FALSE(none.isDisk());
    expectAssertion([&] { none.type(); });
    expectAssertion([&] { none.busType(); });
    expectAssertion([&] { none.isOptical(); });

    // Fixed by its geometry, but nothing tells whether it is a disk.
    model->descriptorError = ERROR_INVALID_FUNCTION;
    WindowsDrive fixed = drive();
    EXPECT_EQ(fixed.getMediaType(), WindowsDrive::FixedMediaType);
    expectAssertion([&] { fixed.isDisk(); });
    expectAssertion([&] { fixed.isReadOnly(); });
    expectAssertion([&] { fixed.isOffline(); });
}

TEST_F(Drive, OfWhichNothingOpensIsEmptyAndSilent) {
    model->openError = ERROR_ACCESS_DENIED;
    const WindowsDrive closed = drive();
    EXPECT_EQ(callNames(), Strings{"CreateFileW"});
    EXPECT_FALSE(closed.getHandle().isValid());
    EXPECT_EQ(closed.getMediaType(), WindowsDrive::UnknownMediaType);
    EXPECT_EQ(closed.getTotalCapacity(), 0u);
    EXPECT_EQ(closed.getSectorSize(), 0u);
    EXPECT_EQ(closed.getSectorCount(), 0u);
    ScsiAddress address;
    EXPECT_FALSE(closed.scsiAddress(address));
    EXPECT_TRUE(closed.modelId().empty());
    EXPECT_TRUE(lines().empty());
}

TEST_F(Drive, SharesItsHandleWithItsCopies) {
    libSysmira::FileHandle handle;
    {
        const WindowsDrive first = drive();
        const WindowsDrive copy = first;
        handle = copy.getHandle();
    }
    EXPECT_EQ(calls("CloseHandle"), 0u);
    WindowsDrive second(handle);
    EXPECT_EQ(plain(second.serialNumber()), "  N-0815");
    second.setHandle({});
    handle.release();
    EXPECT_EQ(calls("CloseHandle"), 1u);
    EXPECT_EQ(plain(second.serialNumber()), "  N-0815") << "nothing is read again";
}

// Descriptor texts

TEST_F(Drive, LeavesTextsEmptyThatDoNotEndInTheDescriptor) {
    std::vector<unsigned char> bytes = descriptor(std::string("AB\xE4\xFF\0", 5));
    put(bytes, vendorAt, 40);
    put(bytes, productAt, 45);  // runs to the end
    put(bytes, serialAt, 60);   // begins there
    model->descriptor = bytes;
    const WindowsDrive damaged = drive();
    EXPECT_EQ(plain(damaged.vendorId()), "AB\u00e4\u00ff") << "a byte is a code unit";
    EXPECT_TRUE(damaged.productId().empty());
    EXPECT_TRUE(damaged.productRevision().empty());
    EXPECT_TRUE(damaged.serialNumber().empty());
    EXPECT_EQ(damaged.modelId(), damaged.vendorId());
    const Strings written = lines();
    ASSERT_EQ(written.size(), 2u) << "offset 0 is no text, and not worth a line";
    const std::string head = "libSysmira.WindowsDrive 3 String at offset ";
    EXPECT_EQ(written[0].substr(0, head.size() + 43), head + "45 is not terminated in buffer :\n00000000: ");
    EXPECT_NE(written[0].find("\n00000030: 78 78 78 78 78 78 78 78 78 78 78 78"), std::string::npos)
        << written[0];
    EXPECT_EQ(written[1].substr(0, head.size() + 3), head + "60 ");

    put(bytes, serialAt, 0xFFFFFFFF);
    put(bytes, productAt, 44);  // empty, at a NUL
    model->descriptor = bytes;
    EXPECT_TRUE(drive().serialNumber().empty());
    EXPECT_EQ(lines().size(), 1u);
}

TEST_F(Drive, TakesOnlyDescriptorsOfSensibleSize) {
    std::vector<unsigned char> bytes = descriptor("");
    for (const DWORD size : {0u, 35u, 1u << 20, 0xFFFFFFFFu}) {
        put(bytes, sizeAt, size);
        model->descriptor = bytes;
        EXPECT_FALSE(drive().storageDescriptorInitialized()) << size;
    }
    EXPECT_TRUE(lines().empty());
    EXPECT_EQ(calls("IOCTL_STORAGE_QUERY_PROPERTY"), 4u);

    // It announces more than comes: texts end where the answer ended.
    put(bytes, sizeAt, 200);
    put(bytes, vendorAt, 100);
    model->descriptor = bytes;
    EXPECT_TRUE(drive().storageDescriptorInitialized());
    EXPECT_EQ(lines().size(), 1u);
    put(bytes, vendorAt, 0);
    put(bytes, sizeAt, 60);
    model->descriptor = bytes;
    for (const Distortion distortion : {Distortion::NothingWritten, Distortion::SizeZero}) {
        distort("IOCTL_STORAGE_QUERY_PROPERTY", distortion, 1);
        EXPECT_FALSE(drive().storageDescriptorInitialized());
        EXPECT_TRUE(lines().empty());
        clearFaults();
        distort("IOCTL_STORAGE_QUERY_PROPERTY", distortion, 2);
        EXPECT_FALSE(drive().storageDescriptorInitialized());
        EXPECT_EQ(lines().size(), 1u);
        clearFaults();
    }
    failCall("IOCTL_STORAGE_QUERY_PROPERTY", ERROR_IO_DEVICE, 2);
    EXPECT_FALSE(drive().storageDescriptorInitialized());
    EXPECT_EQ(lines(), Strings{"libSysmira.CommonStorage 3 getStorageDeviceDescriptor() error: 1117 - " +
                               message(ERROR_IO_DEVICE)});
}

// The structure's 40 bytes are padding and the first raw byte from 37 on: what has no raw data may end there.
TEST_F(Drive, TakesDescriptorsThatEndAtTheirFixedFields) {
    for (const DWORD size : {36u, 39u}) {
        SCOPED_TRACE(size);
        std::vector<unsigned char> bytes = descriptor("");
        bytes.resize(size);
        put(bytes, sizeAt, size);
        put(bytes, vendorAt, 0);
        put(bytes, productAt, 0);
        put(bytes, serialAt, 0);
        model->descriptor = bytes;
        const WindowsDrive disk = drive();
        ASSERT_TRUE(disk.storageDescriptorInitialized());
        EXPECT_EQ(disk.busType(), static_cast<unsigned>(bytes[offsetof(STORAGE_DEVICE_DESCRIPTOR, BusType)]));
        EXPECT_EQ(disk.vendorId(), "");
        EXPECT_TRUE(lines().empty());
    }
}

TEST_F(Drive, LearnsItsMediaFromFloppyFormatsOrGeometryWithoutDescriptor) {
    model->descriptorError = ERROR_INVALID_FUNCTION;
    model->floppyFormats = {F3_1Pt44_512};
    EXPECT_EQ(drive().getMediaType(), WindowsDrive::RemovableMediaType);
    EXPECT_EQ(calls("IOCTL_DISK_GET_DRIVE_GEOMETRY"), 0u);
    model->floppyFormats = {RemovableMedia};
    struct Row {
        MEDIA_TYPE told;
        WindowsDrive::MediaType type;
    };
    for (const Row& row :
         {Row{RemovableMedia, WindowsDrive::RemovableMediaType},
          Row{FixedMedia, WindowsDrive::FixedMediaType}, Row{F3_1Pt44_512, WindowsDrive::UnknownMediaType}}) {
        model->mediaType = row.told;
        model->sectorSize = 4096;
        forgetCalls();
        const WindowsDrive unknown = drive();
        EXPECT_EQ(unknown.getMediaType(), row.type);
        EXPECT_EQ(unknown.getSectorSize(), 4096u);
        EXPECT_EQ(calls("IOCTL_DISK_GET_DRIVE_GEOMETRY"), 1u) << "one geometry tells both";
    }
    model->geometryError = ERROR_NOT_READY;
    EXPECT_EQ(drive().getMediaType(), WindowsDrive::UnknownMediaType);
    EXPECT_TRUE(lines().empty());
}

// Geometry, attributes, address

TEST_F(Drive, MeasuresItselfOnce) {
    const WindowsDrive disk = drive();
    forgetCalls();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(disk.getTotalCapacity(), GiB);
        EXPECT_EQ(disk.getSectorSize(), 512u);
        EXPECT_EQ(disk.getSectorCount(), GiB / 512);
    }
    EXPECT_EQ(callNames(), (Strings{"IOCTL_DISK_GET_LENGTH_INFO", "IOCTL_DISK_GET_DRIVE_GEOMETRY"}));
    EXPECT_EQ(argumentsOf("IOCTL_DISK_GET_LENGTH_INFO"), Strings{"0, 8"});
    EXPECT_EQ(argumentsOf("IOCTL_DISK_GET_DRIVE_GEOMETRY"), Strings{"0, 24"});
}

TEST_F(Drive, MeasuresItselfByGeometryOrNotAtAll) {
    model->lengthError = ERROR_INVALID_FUNCTION;
    model->size = (255ull * 63 * 512) * 300'000 + 77;  // beyond 32 bits
    EXPECT_EQ(drive().getTotalCapacity(), (255ull * 63 * 512) * 300'000);
    model->geometryError = ERROR_NOT_READY;
    const WindowsDrive mute = drive();
    EXPECT_EQ(mute.getTotalCapacity(), 0u);
    EXPECT_EQ(mute.getSectorCount(), 0u);
    model->geometryError = model->lengthError = 0;
    model->size = 1ull << 63;
    EXPECT_EQ(drive().getTotalCapacity(), (1ull << 63) / (255 * 63 * 512) * (255 * 63 * 512))
        << "no negative length";
    for (const Distortion distortion :
         {Distortion::NothingWritten, Distortion::SizeZero, Distortion::OddSize}) {
        distort("IOCTL_DISK_GET_LENGTH_INFO", distortion);
        distort("IOCTL_DISK_GET_DRIVE_GEOMETRY", distortion);
        EXPECT_EQ(drive().getTotalCapacity(), 0u);
        clearFaults();
    }
}

TEST_F(Drive, KnowsWhetherItIsReadOnlyOrOffline) {
    WindowsDrive disk = drive();
    for (const ULONGLONG attributes : {0ull, DISK_ATTRIBUTE_OFFLINE, DISK_ATTRIBUTE_READ_ONLY, ~0ull}) {
        model->attributes = attributes;
        EXPECT_EQ(disk.isOffline(), TriBool((attributes & 1) != 0)) << attributes;
        EXPECT_EQ(disk.isReadOnly(), TriBool((attributes & 2) != 0)) << attributes;
    }
    EXPECT_EQ(argumentsOf("IOCTL_DISK_GET_DISK_ATTRIBUTES")[0], "0, 16");
    model->attributesError = ERROR_INVALID_FUNCTION;
    EXPECT_TRUE(disk.isReadOnly().isUnknown());
    EXPECT_EQ(lines(), Strings{"libSysmira.WindowsDrive 3 IOCTL_DISK_GET_DISK_ATTRIBUTES failed: " +
                               message(ERROR_INVALID_FUNCTION)});
    model->attributesError = 0;
    distort("IOCTL_DISK_GET_DISK_ATTRIBUTES", Distortion::NothingWritten);
    EXPECT_TRUE(disk.isOffline().isUnknown());
    lines();

    // Nobody asks a stick.
    model->removable = true;
    forgetCalls();
    EXPECT_TRUE(drive().isReadOnly().isUnknown());
    EXPECT_EQ(calls("IOCTL_DISK_GET_DISK_ATTRIBUTES"), 0u);
    EXPECT_TRUE(lines().empty());
}

TEST_F(Drive, TellsItsScsiAddress) {
    SCSI_ADDRESS told = {};
    told.Length = sizeof told;
    told.PortNumber = 1;
    told.PathId = 2;
    told.TargetId = 3;
    told.Lun = 4;
    model->scsi = told;
    ScsiAddress address;
    EXPECT_TRUE(drive().scsiAddress(address));
    EXPECT_EQ(argumentsOf("IOCTL_SCSI_GET_ADDRESS"), Strings{"0, 8"});
    EXPECT_EQ(address.portNumber, 1);
    EXPECT_EQ(address.pathId, 2);
    EXPECT_EQ(address.targetId, 3);
    EXPECT_EQ(address.lun, 4);
    distort("IOCTL_SCSI_GET_ADDRESS", Distortion::OddSize);
    EXPECT_FALSE(drive().scsiAddress(address));
    model->scsi.reset();
    EXPECT_FALSE(drive().scsiAddress(address));
    EXPECT_EQ(address.lun, 4);
}

// Update

TEST_F(Drive, ReadsAgainWhatItKnows) {
    addVolume(1, {u"D:\\"});
    WindowsDrive disk = drive();
    forgetCalls();
    disk.update(/*flush=*/false);
    EXPECT_TRUE(callNames().empty()) << "it knows nothing yet";
    EXPECT_EQ(disk.getTotalCapacity(), GiB);
    EXPECT_EQ(disk.getSectorSize(), 512u);
    EXPECT_EQ(disk.volumes().size(), 1u);

    addVolume(2, {u"E:\\"});
    model->size = 2 * GiB;
    model->sectorSize = 4096;
    disk.update(/*flush=*/false);
    EXPECT_EQ(disk.volumes().size(), 2u);
    EXPECT_EQ(disk.getTotalCapacity(), 2 * GiB);
    EXPECT_EQ(disk.getSectorSize(), 512u);

    model->lengthError = model->geometryError = ERROR_NOT_READY;
    disk.update(/*flush=*/false);
    EXPECT_EQ(disk.getTotalCapacity(), 0u);
    forgetCalls();
    disk.update(/*flush=*/false);
    EXPECT_EQ(calls("IOCTL_DISK_GET_LENGTH_INFO"), 0u);
}

TEST_F(Drive, FlushesAndSaysNothingWhenThatFails) {
    WindowsDrive disk = drive();
    forgetCalls();
    disk.update(/*flush=*/true);
    EXPECT_EQ(callNames(), (Strings{"FlushFileBuffers", "IOCTL_DISK_UPDATE_PROPERTIES"}));
    EXPECT_EQ(argumentsOf("IOCTL_DISK_UPDATE_PROPERTIES"), Strings{"0, 0"});
    failCall("FlushFileBuffers", ERROR_WRITE_PROTECT);
    failCall("IOCTL_DISK_UPDATE_PROPERTIES", ERROR_INVALID_FUNCTION);
    disk.update(/*flush=*/true);
    EXPECT_EQ(calls("IOCTL_DISK_UPDATE_PROPERTIES"), 2u);
    EXPECT_TRUE(lines().empty());
}

}  // namespace
