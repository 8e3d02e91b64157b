declare module "kovotry-core" {
  const base64: string;
  export default base64;
}
