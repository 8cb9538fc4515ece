// Windows Management Instrumentation: connect to a namespace, run queries, read objects, call methods.
//
//     libSysmira::WmiNamespace wmi;
//     libSysmira::WmiQueryResult disks;
//     libSysmira::WmiObject disk;
//     if (wmi.connect("root\\cimv2") && wmi.query("select * from Win32_DiskDrive", disks)) {
//         while (disks.next(disk, WBEM_INFINITE)) …
//     }
//
// Threads and COM: a WmiNamespace, WmiQueryResult or WmiObject enters COM's multithreaded apartment on the
// thread that constructs (or copy-constructs) it and leaves it on the thread that destroys it: that must be
// one thread, and none that is in a single-threaded apartment. While one of them is alive, the others can be
// used from any thread of the multithreaded apartment; no two threads use one object at once. A WmiCallResult
// does not enter COM: use and destroy it only while one of the others keeps COM initialised on the thread.
//
// Failures are false (and a line on the logger "libSysmira.Wmi" where an operation says so). Thrown are
// InitializationError and, when a thread is in another apartment, zor::Exception, both by constructors;
// ComError when COM has no memory for a text. Using an empty object is misuse, an assertion failure
// (zor::RaisedException). What Windows answered is told by getLastWmiResult.
#pragma once

#include "libSysmira/Export.h"
#include "libSysmira/wmi/ComStoragePolicy.h"
#include "support/Buffer.h"
#include "support/CopiedResource.h"
#include "support/Exception.h"
#include "support/String.h"
#include "support/WindowsApi.h"

namespace libSysmira {

class WmiObject;

template <class Interface>
using ComPointer = zor::CopiedResource<ComStoragePolicy<Interface>>;

/// A COM call that failed for want of memory.
class SYSMIRA_API ComError : public zor::Exception {
public:
    explicit ComError(HRESULT result);
    ~ComError() override;
    HRESULT getResult() const { return m_result; }

private:
    HRESULT m_result;
};

/// WMI cannot be reached at all.
class SYSMIRA_API InitializationError : public zor::Exception {
public:
    explicit InitializationError(const zor::String& message);
    ~InitializationError() override;
};

/// What the last Windows call of a WMI operation on this thread answered: the reason, right after an
/// operation returned false or the constructor of WmiNamespace threw. A success there means that the
/// operation did not like what it got: WBEM_S_FALSE is the end of an enumeration, WBEM_S_TIMEDOUT a time-out,
/// S_OK a method without input parameters. Readers of properties note only their failures; setProperty on an
/// empty object notes nothing.
SYSMIRA_API HRESULT getLastWmiResult() noexcept;

/// Brackets the use of COM on a thread: CoInitializeEx (multithreaded) and, process-wide security being set
/// by the first of them, CoInitializeSecurity when it comes; CoUninitialize when it goes.
///
/// CoUninitialize runs once for every object that was constructed, also where CoInitializeEx had failed for
/// another reason than the apartment: deliberately, callers may rely on one for one.
class SYSMIRA_API WmiInit {
public:
    /// Throws zor::Exception when the thread is in a single-threaded apartment.
    WmiInit();
    /// Enters COM once more.
    WmiInit(const WmiInit&) : WmiInit() {}
    WmiInit& operator=(const WmiInit&) { return *this; }
    ~WmiInit();
};

/// The objects that a query found, or the events that it waits for. Keeps its connection alive.
class SYSMIRA_API WmiQueryResult : public WmiInit {
public:
    WmiQueryResult();
    ~WmiQueryResult();
    WmiQueryResult(const WmiQueryResult&) = default;
    WmiQueryResult& operator=(const WmiQueryResult&) = default;

    /// The next object (IEnumWbemClassObject::Next), waiting for it at most `timeoutMs` milliseconds
    /// (WBEM_INFINITE: for ever; 0: not at all). False at the end, when the time is over, and on failure; the
    /// end of every enumeration and each failure write a line of priority 3, a time-out none.
    bool next(WmiObject& object, DWORD timeoutMs) const;
    /// Goes back to the first object. Results of event queries cannot.
    bool reset() const;

private:
    friend class WmiNamespace;
    void set(ComPointer<IEnumWbemClassObject> pEnumObject, ComPointer<IWbemServices> pServices);

    ComPointer<IEnumWbemClassObject> m_pQueryResult;
    ComPointer<IWbemServices> m_pServices;
};

/// A connection to one WMI namespace, as the calling user.
class SYSMIRA_API WmiNamespace : public WmiInit {
public:
    /// Creates WMI's administrative locator. Throws InitializationError when there is none.
    WmiNamespace();
    ~WmiNamespace();
    WmiNamespace(const WmiNamespace&) = delete;
    WmiNamespace& operator=(const WmiNamespace&) = delete;

    /// Connects to a namespace such as "root\cimv2" or "root/wmi" (IWbemLocator::ConnectServer).
    ///
    /// Connect each object once. A second call gives the earlier connection back twice, before and after the
    /// new one is made; unless something else still holds two references to it, that is memory already freed.
    /// For another namespace make another WmiNamespace.
    bool connect(const zor::String& namespacePath);
    /// Runs a WQL query (IWbemServices::ExecQuery). That the query is wrong may show only at the first
    /// WmiQueryResult::next: Windows reads a query that is not waited for after it has accepted it. False
    /// without a log line. Throws ComError when COM has no memory for the texts, and zor::RaisedException
    /// when WMI reports success without a result.
    bool query(const zor::String& wql, WmiQueryResult& result) const;
    /// Runs a WQL notification query (IWbemServices::ExecNotificationQuery); failures write a line of
    /// priority 3. Unlike query, a wrong text fails at once. Throws zor::RaisedException as query does.
    bool queryForEvents(const zor::String& wql, WmiQueryResult& result) const;

private:
    ComPointer<IWbemLocator> m_pLocator;
    ComPointer<IWbemServices> m_pServices;
};

/// A method call that was started without waiting for it.
class SYSMIRA_API WmiCallResult {
public:
    enum CallResult {
        CallPending = 0,   ///< not finished within the time-out; poll again
        CallFailed = 1,    ///< the call, or fetching what it returned, failed
        CallComplete = 2,  ///< finished; the out-parameters were delivered
    };

    WmiCallResult();
    WmiCallResult(const WmiCallResult&);
    WmiCallResult& operator=(const WmiCallResult&);
    WmiCallResult(WmiCallResult&&) noexcept;
    WmiCallResult& operator=(WmiCallResult&&) noexcept;
    ~WmiCallResult();

    /// Waits at most `timeoutMs` milliseconds for the call's end (IWbemCallResult::GetResultObject). A wrong
    /// method's name may show only here, as CallFailed. Throws zor::RaisedException when there is nothing to
    /// poll (nothing was started, or WMI reported success without a call result), and when a call that ended
    /// well returns nothing.
    CallResult getCallResult(WmiObject& outParams, DWORD timeoutMs) const;

private:
    friend class WmiObject;
    void set(ComPointer<IWbemCallResult> pCallResult, ComPointer<IWbemServices> pServices);

    ComPointer<IWbemServices> m_pServices;
    ComPointer<IWbemCallResult> m_pCallResult;
};

/// A WMI class or instance: a row of a query, a method's parameters, an embedded object.
class SYSMIRA_API WmiObject : public WmiInit {
public:
    WmiObject();
    WmiObject(const WmiObject& other);
    WmiObject& operator=(const WmiObject& other);
    ~WmiObject();

    // Reads a property (IWbemClassObject::Get). True when the value was stored; otherwise `value` keeps what
    // it had. The property's CIM type must be exactly that of the overload, there is no conversion; a null
    // property reads as false.

    bool getProperty(const zor::String& name, bool& value) const;                ///< CIM_BOOLEAN
    bool getProperty(const zor::String& name, unsigned char& value) const;       ///< CIM_UINT8
    bool getProperty(const zor::String& name, unsigned short& value) const;      ///< CIM_UINT16
    bool getProperty(const zor::String& name, unsigned int& value) const;        ///< CIM_UINT32
    bool getProperty(const zor::String& name, unsigned long long& value) const;  ///< CIM_UINT64
    bool getProperty(const zor::String& name, float& value) const;               ///< CIM_REAL32
    bool getProperty(const zor::String& name, double& value) const;              ///< CIM_REAL64
    bool getProperty(const zor::String& name, zor::String& value) const;         ///< CIM_STRING
    bool getProperty(const zor::String& name,
                     zor::Buffer<unsigned char>& value) const;          ///< array of CIM_UINT8
    bool getProperty(const zor::String& name, WmiObject& value) const;  ///< CIM_OBJECT

    /// Writes a property (IWbemClassObject::Put); WMI converts to the property's own type where it can. For
    /// bool, unsigned char, unsigned short, unsigned int, float and double. `true` is written as 1, not as
    /// VARIANT_TRUE
    /// (-1): whoever compares the raw value has to know. 16- and 32-bit numbers that are refused as VT_UI2 or
    /// VT_UI4, as Windows does, are written as VT_I4 with the same bits. False on an empty object.
    template <class T>
    bool setProperty(const zor::String& name, T value) const;

    bool getPath(zor::String& path) const;
    bool getClassName(zor::String& name) const;

    /// A fresh object for the input parameters of a method, to be filled with setProperty. False for a method
    /// that takes none.
    bool getMethodInputParams(const zor::String& method, WmiObject& inParams) const;
    /// Calls a method and waits for its end (IWbemServices::ExecMethod). A method that returns nothing, not
    /// even a return value, is called, and then zor::RaisedException is thrown, since there are no
    /// out-parameters. Throws ComError when COM has no memory for the texts. False for an object without a
    /// path, as of a query that names its properties.
    bool execMethod(const zor::String& method, WmiObject& outParams) const;
    bool execMethod(const zor::String& method, const WmiObject& inParams, WmiObject& outParams) const;
    /// Starts a method without input parameters and returns at once. True with an empty `callResult` on
    /// systems that report success and start nothing: polling it then throws. Throws ComError as execMethod
    /// does.
    bool execMethodNonBlocking(const zor::String& method, WmiCallResult& callResult) const;

    /// COM's own object, for what this class does not offer: listing properties, values of other types. Null
    /// when empty. It stays this object's: whoever keeps it adds a reference.
    IWbemClassObject* getObject() const { return m_pObject.get(); }

    /// The object as MOF text (IWbemClassObject::GetObjectText); empty on failure.
    zor::String toString();

private:
    friend class WmiQueryResult;
    friend class WmiCallResult;
    void set(ComPointer<IWbemClassObject> pObject, ComPointer<IWbemServices> pServices);
    bool read(const zor::String& name, CIMTYPE required, VARIANT& value) const;
    bool readText(const zor::String& name, zor::String& value) const;
    bool execMethod(const zor::String& method, IWbemClassObject* inParams, WmiObject& outParams) const;

    ComPointer<IWbemClassObject> m_pObject;
    ComPointer<IWbemServices> m_pServices;
};

extern template SYSMIRA_API bool WmiObject::setProperty(const zor::String&, bool) const;
extern template SYSMIRA_API bool WmiObject::setProperty(const zor::String&, unsigned char) const;
extern template SYSMIRA_API bool WmiObject::setProperty(const zor::String&, unsigned short) const;
extern template SYSMIRA_API bool WmiObject::setProperty(const zor::String&, unsigned int) const;
extern template SYSMIRA_API bool WmiObject::setProperty(const zor::String&, float) const;
extern template SYSMIRA_API bool WmiObject::setProperty(const zor::String&, double) const;

}  // namespace libSysmira
