// The Node-API addon over libinvoice_extract.so.1: each call as a blocking
// function and as a Promise whose work runs on the thread pool (an async
// worker), off the event loop. index.js wraps these in the package's API.
#define NAPI_DISABLE_CPP_EXCEPTIONS
#include <napi.h>

#include <invoice_extract.h>

#include <cstdint>
#include <string>

namespace {

// What one call works on: a path, or the bytes of a Buffer (held alive by a
// reference for as long as an async call runs).
struct Source {
  bool is_path = false;
  std::string path;
  const uint8_t* data = nullptr;
  size_t size = 0;
};

struct Outcome {
  int32_t result = ZUGF_RESULT_BAD_INPUT;
  void* xml = nullptr;  // from the library, released with ZUGF_Free
  size_t xml_size = 0;
};

// Reads the argument; false (with a JavaScript TypeError pending) when it is
// neither a string without NUL bytes nor a Buffer or Uint8Array.
bool Read_Source(const Napi::CallbackInfo& info, bool path_allowed, Source* source) {
  Napi::Env env = info.Env();
  if (info.Length() >= 1 && info[0].IsTypedArray() &&
      info[0].As<Napi::TypedArray>().TypedArrayType() == napi_uint8_array) {
    Napi::Uint8Array bytes = info[0].As<Napi::Uint8Array>();
    source->data = bytes.Data();
    source->size = bytes.ByteLength();
    return true;
  }
  if (path_allowed && info.Length() >= 1 && info[0].IsString()) {
    source->is_path = true;
    source->path = info[0].As<Napi::String>().Utf8Value();
    if (source->path.find('\0') == std::string::npos) return true;
    Napi::TypeError::New(env, "the path contains a NUL byte").ThrowAsJavaScriptException();
    return false;
  }
  Napi::TypeError::New(env, path_allowed ? "source must be a path (string) or a Buffer" : "source must be a Buffer")
      .ThrowAsJavaScriptException();
  return false;
}

Outcome Run(const Source& source, bool extract) {
  Outcome outcome;
  if (!extract) {
    outcome.result =
        source.is_path ? ZUGF_Check_Zugferd(source.path.c_str()) : ZUGF_Check_Zugferd_Buffer(source.data, source.size);
  } else {
    outcome.result = ZUGF_Extract_Zugferd_Buffer(source.data, source.size, &outcome.xml, &outcome.xml_size);
  }
  return outcome;
}

// The result code for a check; { result, xml } for an extraction, xml a
// Buffer on 0 and null otherwise. Releases the library's block.
Napi::Value To_Value(Napi::Env env, bool extract, Outcome* outcome) {
  if (!extract) return Napi::Number::New(env, outcome->result);
  Napi::Object value = Napi::Object::New(env);
  value.Set("result", Napi::Number::New(env, outcome->result));
  if (outcome->result == ZUGF_RESULT_INVOICE) {
    value.Set("xml", Napi::Buffer<uint8_t>::Copy(env, static_cast<const uint8_t*>(outcome->xml), outcome->xml_size));
  } else {
    value.Set("xml", env.Null());
  }
  ZUGF_Free(outcome->xml);
  outcome->xml = nullptr;
  return value;
}

class Call_Worker : public Napi::AsyncWorker {
 public:
  Call_Worker(Napi::Env env, const Source& source, Napi::Value holder, bool extract)
      : Napi::AsyncWorker(env, "invoice_extract"),
        deferred_(Napi::Promise::Deferred::New(env)),
        source_(source),
        extract_(extract) {
    if (!source.is_path) holder_ = Napi::Persistent(holder.As<Napi::Object>());
  }
  ~Call_Worker() override { ZUGF_Free(outcome_.xml); }

  Napi::Promise Promise() { return deferred_.Promise(); }

  void Execute() override { outcome_ = Run(source_, extract_); }
  void OnOK() override { deferred_.Resolve(To_Value(Env(), extract_, &outcome_)); }
  void OnError(const Napi::Error& error) override { deferred_.Reject(error.Value()); }

 private:
  Napi::Promise::Deferred deferred_;
  Source source_;
  Napi::ObjectReference holder_;  // keeps the Buffer alive while the work runs
  bool extract_;
  Outcome outcome_;
};

Napi::Value Call(const Napi::CallbackInfo& info, bool extract, bool async) {
  Source source;
  if (!Read_Source(info, !extract, &source)) return info.Env().Undefined();
  if (!async) {
    Outcome outcome = Run(source, extract);
    return To_Value(info.Env(), extract, &outcome);
  }
  Call_Worker* worker = new Call_Worker(info.Env(), source, info[0], extract);
  Napi::Promise promise = worker->Promise();
  worker->Queue();
  return promise;
}

Napi::Value Check(const Napi::CallbackInfo& info) { return Call(info, false, true); }
Napi::Value Check_Sync(const Napi::CallbackInfo& info) { return Call(info, false, false); }
Napi::Value Extract(const Napi::CallbackInfo& info) { return Call(info, true, true); }
Napi::Value Extract_Sync(const Napi::CallbackInfo& info) { return Call(info, true, false); }

Napi::Value Describe(const Napi::CallbackInfo& info) {
  int32_t code = info.Length() >= 1 && info[0].IsNumber() ? info[0].As<Napi::Number>().Int32Value() : 1;
  return Napi::String::New(info.Env(), ZUGF_Describe_Result(code));
}

Napi::Object Init(Napi::Env env, Napi::Object exports) {
  exports.Set("check", Napi::Function::New(env, Check));
  exports.Set("checkSync", Napi::Function::New(env, Check_Sync));
  exports.Set("extract", Napi::Function::New(env, Extract));
  exports.Set("extractSync", Napi::Function::New(env, Extract_Sync));
  exports.Set("describe", Napi::Function::New(env, Describe));
  exports.Set("version", Napi::String::New(env, INVOICE_EXTRACT_VERSION_STRING));
  return exports;
}

}  // namespace

NODE_API_MODULE(invoice_extract, Init)
