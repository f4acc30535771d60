import { defineConfig } from "vite";

// Fixed file names: the program embeds these files and serves each at its address.
export default defineConfig({
  publicDir: "public",
  esbuild: { jsx: "automatic", jsxImportSource: "preact" },
  build: {
    target: "es2022",
    modulePreload: false,
    assetsInlineLimit: 0,
    rollupOptions: {
      output: { entryFileNames: "app.js", assetFileNames: "app[extname]", inlineDynamicImports: true },
    },
  },
});
