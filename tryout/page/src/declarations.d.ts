declare module "kovotry.wasm?url&inline" {
  const url: string;
  export default url;
}
