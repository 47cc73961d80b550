export { default } from 'dompurify';
