{
  "targets": [
    {
      "target_name": "invoice_extract",
      "sources": ["src/addon.cpp"],
      "include_dirs": ["<!(node -p \"require('node-addon-api').include_dir\")"],
      "cflags_cc": ["<!@(pkg-config --cflags invoice_extract)"],
      "libraries": [
        "<!@(pkg-config --libs invoice_extract)",
        "-Wl,-rpath,<!(pkg-config --variable=libdir invoice_extract)"
      ],
      "defines": ["NAPI_VERSION=8"]
    }
  ]
}
