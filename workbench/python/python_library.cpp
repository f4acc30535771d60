// One run of a script: starts the interpreter, sets up sys and __main__ like python3, and returns
// the exit code. Starting an interpreter is not part of the limited API, so only this file uses the
// full one.
#define PY_SSIZE_T_CLEAN
#include <Python.h>
//
#include "workbench/python/python_library.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "workbench/python/python_objects.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace velmora {

namespace {

const PythonScript* running = nullptr;

void ReportOnStandardError(const std::string& sentence) { PySys_FormatStderr("%s\n", sentence.c_str()); }

// --- The module velmora

PyModuleDef moduleDefinition = {PyModuleDef_HEAD_INIT,
                                "velmora",
                                "Drives analyses of Velmora. Begin with velmora.Application; "
                                "help(velmora.Application) lists its members.",
                                -1,
                                nullptr,
                                nullptr,
                                nullptr,
                                nullptr,
                                nullptr};

PyObject* MakeModule() {
  return GuardedForPython<PyObject*>(nullptr, [] {
    PythonReference module = Owned(PyModule_Create(&moduleDefinition));
    AddObjectTypes(module.get(), running->forgetInterruption);
    const PythonReference application = MakePythonObject(ObjectReference(running->application));
    const PythonReference version = PythonText(running->version);
    if (PyModule_AddObjectRef(module.get(), "Application", application.get()) != 0 ||
        PyModule_AddObjectRef(module.get(), "__version__", version.get()) != 0) {
      throw PythonRaised();
    }
    return module.Release();
  });
}

// --- Interruptions

// Like Python's own handler for SIGINT, but also clears the caller's flag.
PyObject* OnInterruption(PyObject*, PyObject*) {
  running->forgetInterruption();
  PyErr_SetNone(PyExc_KeyboardInterrupt);
  return nullptr;
}
PyMethodDef onInterruption = {"on_interruption", OnInterruption, METH_VARARGS, nullptr};

// Called by signal handlers.
void PassInterruptionOn() { PyErr_SetInterruptEx(SIGINT); }

// The caller's signal handler stays installed; it cancels a running analysis and then passes the
// signal on.
void HandleInterruptions() {
  struct sigaction callers {};
  if (sigaction(SIGINT, nullptr, &callers) != 0) return;
  const PythonReference handler = Owned(PyCFunction_New(&onInterruption, nullptr));
  const PythonReference signals = Owned(PyImport_ImportModule("signal"));
  Owned(PyObject_CallMethod(signals.get(), "signal", "iO", SIGINT, handler.get()));
  sigaction(SIGINT, &callers, nullptr);
  running->callOnInterruption(PassInterruptionOn);
}

// --- Start

// The active virtual environment if it has our Python version; else the Python that we were built
// with.
std::string ProgramName() {
  const char* const environment = std::getenv("VIRTUAL_ENV");
  if (environment != nullptr && *environment != 0) {
    const std::filesystem::path program = std::filesystem::path(environment) / "bin" / VELMORA_PYTHON_NAME;
    std::error_code error;
    if (std::filesystem::exists(program, error)) return program.string();
  }
  return VELMORA_PYTHON_PROGRAM;
}

// Extension modules look up Python's symbols in the whole process, but this library was loaded with
// local symbols.
void OpenPythonToExtensions() {
  Dl_info python{};
  if (dladdr(reinterpret_cast<void*>(&Py_InitializeFromConfig), &python) != 0)
    dlopen(python.dli_fname, RTLD_NOW | RTLD_GLOBAL | RTLD_NOLOAD);
}

#ifdef __SANITIZE_ADDRESS__
// Python does not free all of its memory when it ends, which is not a leak; memory that we allocate
// while Python calls us may be one. So each block that Python allocates is marked, not everything
// allocated below its calls.
template <typename Allocate>
void* AllocateUnwatched(Allocate allocate) {
  const __lsan::ScopedDisabler unwatched;
  return allocate();
}
void* MallocOfPython(void*, std::size_t size) {
  return AllocateUnwatched([&] { return std::malloc(size == 0 ? 1 : size); });
}
void* CallocOfPython(void*, std::size_t count, std::size_t size) {
  return AllocateUnwatched(
      [&] { return count == 0 || size == 0 ? std::calloc(1, 1) : std::calloc(count, size); });
}
void* ReallocOfPython(void*, void* block, std::size_t size) {
  return AllocateUnwatched([&] { return std::realloc(block, size == 0 ? 1 : size); });
}
void FreeOfPython(void*, void* block) { std::free(block); }

void MarkMemoryOfPython() {
  PyMemAllocatorEx allocator{nullptr, MallocOfPython, CallocOfPython, ReallocOfPython, FreeOfPython};
  for (const PyMemAllocatorDomain domain : {PYMEM_DOMAIN_RAW, PYMEM_DOMAIN_MEM, PYMEM_DOMAIN_OBJ})
    PyMem_SetAllocator(domain, &allocator);
}
#else
void MarkMemoryOfPython() {}
#endif

bool StartInterpreter() {
  MarkMemoryOfPython();
  OpenPythonToExtensions();
  PyImport_AppendInittab("velmora", MakeModule);
  PyConfig config;
  PyConfig_InitPythonConfig(&config);
  config.parse_argv = 0;
  config.install_signal_handlers = 0;
  PyStatus status = PyConfig_SetBytesString(&config, &config.program_name, ProgramName().c_str());
  if (PyStatus_Exception(status) == 0) {
    status =
        PyConfig_SetBytesArgv(&config, running->argumentCount, const_cast<char* const*>(running->arguments));
  }
  if (PyStatus_Exception(status) == 0) status = Py_InitializeFromConfig(&config);
  PyConfig_Clear(&config);
  if (PyStatus_Exception(status) == 0) return true;
  const std::string sentence = std::string("velmora: Python cannot start: ") +
                               (status.err_msg != nullptr ? status.err_msg : "no reason given") + ".\n";
  // Standard error is closed.
  if (write(STDERR_FILENO, sentence.data(), sentence.size()) < 0) return false;
  return false;
}

bool IsStandardInput() { return std::string(running->arguments[0]) == "-"; }
std::string ShownFile() { return IsStandardInput() ? "<stdin>" : running->arguments[0]; }

// Modules in the script's folder can be imported, as with python3.
void PutScriptFolderFirst() {
  const std::string folder =
      IsStandardInput() ? "" : std::filesystem::absolute(running->arguments[0]).parent_path().string();
  PyObject* const path = PySys_GetObject("path");  // borrowed
  if (path == nullptr) return;
  const PythonReference first = Owned(PyUnicode_DecodeFSDefault(folder.c_str()));
  if (PyList_Insert(path, 0, first.get()) != 0) throw PythonRaised();
}

void RunText() {
  PyObject* const main = PyImport_AddModule("__main__");  // borrowed
  if (main == nullptr) throw PythonRaised();
  PyObject* const names = PyModule_GetDict(main);
  const PythonReference file = Owned(PyUnicode_DecodeFSDefault(ShownFile().c_str()));
  if (!IsStandardInput() && PyDict_SetItemString(names, "__file__", file.get()) != 0) throw PythonRaised();
  const PythonReference code = Owned(Py_CompileStringObject(
      std::string(running->text, static_cast<std::size_t>(running->textLength)).c_str(), file.get(),
      Py_file_input, nullptr, -1));
  Owned(PyEval_EvalCode(code.get(), names, names));
}

// --- End

// "in script.py, line 7": the innermost line of the script itself.
std::string PlaceOf(PyObject* traceback) {
  std::string place;
  const std::string script = ShownFile();
  Py_XINCREF(traceback);
  for (PythonReference entry(traceback); entry && entry.get() != Py_None;) {
    const PythonReference frame = Owned(PyObject_GetAttrString(entry.get(), "tb_frame"));
    const PythonReference code = Owned(PyObject_GetAttrString(frame.get(), "f_code"));
    const PythonReference file = Owned(PyObject_GetAttrString(code.get(), "co_filename"));
    const PythonReference line = Owned(PyObject_GetAttrString(entry.get(), "tb_lineno"));
    if (TextOfPython(file.get()) == script)
      place = " in " + script + ", line " + std::to_string(PyLong_AsLong(line.get()));
    entry = Owned(PyObject_GetAttrString(entry.get(), "tb_next"));
  }
  return place;
}

int CodeOfSystemExit(PyObject* value) {
  const PythonReference code = Owned(PyObject_GetAttrString(value, "code"));
  if (code.get() == Py_None) return 0;
  if (PyLong_Check(code.get())) return static_cast<int>(PyLong_AsLongLong(code.get()) & 0xFF);
  const PythonReference text = Owned(PyObject_Str(code.get()));
  ReportOnStandardError(TextOfPython(text.get()));
  return 1;
}

// The exception that ended the script, as an exit code.
int EndedByException() {
  if (PyErr_ExceptionMatches(PyExc_BrokenPipeError)) {
    PyErr_Clear();
    return kPythonBrokenPipe;
  }
  const bool interrupted = PyErr_ExceptionMatches(PyExc_KeyboardInterrupt) != 0;
  if (!interrupted && !PyErr_ExceptionMatches(PyExc_SystemExit)) {
    PyErr_Print();
    return 1;
  }
  PyObject *type = nullptr, *value = nullptr, *traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyErr_NormalizeException(&type, &value, &traceback);
  const PythonReference ownedType(type), ownedValue(value), ownedTraceback(traceback);
  if (!interrupted) return CodeOfSystemExit(value);
  ReportOnStandardError("Cancelled" + PlaceOf(traceback) + ".");
  return kPythonCancelled;
}

// Flushes buffered output. Returns the exit code of a failure: the reader has closed the pipe, or
// the disk is full.
int FlushStandardOutput() {
  PyObject* const output = PySys_GetObject("stdout");  // borrowed
  if (output == nullptr || output == Py_None) return 0;
  const PythonReference closed(PyObject_GetAttrString(output, "closed"));
  if (!closed) PyErr_Clear();
  if (closed.get() == Py_True) return 0;  // closed by the script
  const PythonReference done(PyObject_CallMethod(output, "flush", nullptr));
  if (done) return 0;
  if (PyErr_ExceptionMatches(PyExc_BrokenPipeError) == 0) {
    PyErr_Print();
    return 1;
  }
  PyErr_Clear();
  return kPythonBrokenPipe;
}

// Closes standard output, so that the interpreter's own flush at its end cannot fail.
void CloseStandardOutput() {
  const int nothing = open("/dev/null", O_WRONLY);
  if (nothing < 0) return;
  dup2(nothing, STDOUT_FILENO);
  close(nothing);
}

template <typename Function>
int ExitCodeOf(Function function) {
  return GuardedForPython(-1, function) < 0 ? GuardedForPython(1, EndedByException) : 0;
}

}  // namespace

int VelmoraRunPythonScript(const PythonScript* script) {
  running = script;
  if (!StartInterpreter()) return 1;
  int exitCode = ExitCodeOf([] {
    HandleInterruptions();
    PutScriptFolderFirst();
    RunText();
    return 0;
  });
  if (const int failure = FlushStandardOutput(); failure != 0) {
    CloseStandardOutput();
    if (exitCode == 0) exitCode = failure;
  }
  // Exit handlers of the script may still use the workbench and Ctrl-C.
  Py_FinalizeEx();
  running->callOnInterruption(nullptr);
  return exitCode;
}

}  // namespace velmora
